#include "FormFixture.h"

#include "addressbook/frmUtilisateur.h"
#include "common/Dialogues.h"
#include "engine/Settings.h"
#include "reminders/frmListeRappel.h"
#include "settings/frmConfigurationCapture.h"
#include "settings/frmPreference.h"
#include "viewer/frmMessage.h"

#include <QLineEdit>
#include <QPlainTextEdit>

#include <QFontDatabase>
#include <QFontDialog>
#include <QFontInfo>
#include <QtTest>

using namespace pv;

class tst_Dialogues : public QObject
{
    Q_OBJECT

    test::FormFixture m_fixture;

private Q_SLOTS:
    void init() { m_fixture.reset(); }

    void textBoxesSelectAllWhenTheKeyboardGivesTheFocus_data()
    {
        QTest::addColumn<QString>("box");
        QTest::newRow("preferences, sender") << "txtExpediteur";
        QTest::newRow("preferences, signature") << "txtSignature";
        QTest::newRow("reminders, message") << "txtMessage";
        QTest::newRow("message window, search") << "txtTexteRecherche";
        QTest::newRow("capture set-up, station") << "txtStation";
        QTest::newRow("users, station") << "txtNomStation";
    }

    void textBoxesSelectAllWhenTheKeyboardGivesTheFocus()
    {
        QFETCH(QString, box);
        const std::function<QWidget*()> windows[] = {
            [] { return new frmPreference; },
            [] { return new frmListeRappel; },
            [] { return new frmMessage(TypeFenetre::HistoriqueRecu); },
            [] { return new frmConfigurationCapture; },
            [] { return new frmUtilisateur; },
        };
        std::unique_ptr<QWidget> w;
        QWidget* zone = nullptr;
        for (const auto& window : windows) {
            w.reset(window());
            if ((zone = w->findChild<QWidget*>(box))) {
                break;
            }
        }
        QVERIFY(zone);
        w->show();
        for (QWidget* p = zone; p != w.get(); p = p->parentWidget()) {
            p->show(); // editing frames and pages open only on demand
        }
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w.get()));
        auto* ligne = qobject_cast<QLineEdit*>(zone);
        auto* texte = qobject_cast<QPlainTextEdit*>(zone);
        ligne ? ligne->setText("PC42") : texte->setPlainText("PC42");
        auto selection = [&] { return ligne ? ligne->selectedText() : texte->textCursor().selectedText(); };
        // How the focus came, whether the whole text is selected.
        for (const auto& [raison, tout] : {std::pair {Qt::MouseFocusReason, false},
                                           {Qt::TabFocusReason, true},
                                           {Qt::PopupFocusReason, false},
                                           {Qt::OtherFocusReason, true}}) {
            zone->clearFocus();
            QCoreApplication::processEvents(); // a selection still on its way from the last round
            ligne ? ligne->deselect() : texte->moveCursor(QTextCursor::End);
            zone->setFocus(raison);
            QTRY_VERIFY(zone->hasFocus());
            if (tout) {
                QTRY_COMPARE(selection(), QString("PC42"));
            } else {
                QCoreApplication::processEvents();
                QCOMPARE(selection(), QString());
            }
        }
    }

    void filterBecomesQtForm()
    {
        const std::pair<const char*, const char*> cases[] = {
            {"Sound files (*.wav)|*.wav|All files (*)|*", "Sound files (*.wav);;All files (*)"}, // patterns shown
            {"Sounds|*.wav;*.WAV|All|*.*", "Sounds (*.wav *.WAV);;All (*)"},                     // bare descriptions
            {"Text|*.txt|Other|", "Text (*.txt)"}, // trailing bar, missing pattern
            {"", ""},
        };
        for (const auto& [filtre, qt] : cases) {
            QCOMPARE(gFiltreQt(filtre), QString(qt));
        }
    }

    void soundFileDialogTakesItsTextsFromTheLanguageFile()
    {
        gParametres().fichierLangue = QStringLiteral(PV_SOURCE_DIR "/lang/pv.FRA");
        QStringList asked;
        setReponseFichier([&asked](const QString& titre, const QString& filtre) {
            asked << titre << filtre;
            return QStringLiteral("/tmp/a.wav");
        });
        QCOMPARE(gOuvrirFichier(nullptr), "/tmp/a.wav");
        setReponseFichier({});
        QCOMPARE(asked, QStringList({"Choisir un fichier son", "Fichiers son (*.wav);;Tous les fichiers (*)"}));
    }

    void fontAndColourGiveTheSettingText()
    {
        // Font chosen, colour chosen, the setting's text ("": cancelled).
        for (const auto& [fontChosen, colourChosen, result] : {std::tuple {true, true, "Serif,14,0,1,1,197121"},
                                                               {true, false, "Serif,14,0,1,1,8388608"},
                                                               {false, true, ""}}) {
            QString initial;
            setReponsePolice([&](const QFont& depart) -> std::optional<QFont> {
                const QFont f = QFontDialog(depart).currentFont(); // what the real dialog shows
                initial = QStringLiteral("%1 %2 %3%4%5")
                              .arg(f.family())
                              .arg(f.pointSize())
                              .arg(f.bold())
                              .arg(f.italic())
                              .arg(f.underline());
                QFont chosen(QStringLiteral("Serif"), 14);
                chosen.setItalic(true);
                chosen.setUnderline(true);
                return fontChosen ? std::optional(chosen) : std::nullopt;
            });
            setReponseCouleur([&](const QColor& c) -> std::optional<QColor> {
                initial += ' ' + c.name();
                return colourChosen ? std::optional(QColor(1, 2, 3)) : std::nullopt;
            });
            const auto chosen = gChoisirPolice(nullptr, QStringLiteral("Verdana,10,1,0,0,8388608"));
            setReponsePolice({});
            setReponseCouleur({});
            QCOMPARE(chosen.value_or(QString()), QString(result));
            // The dialogs start from the setting, in the installed face that stands in for Verdana: dark blue is
            // 0x800000 with red in the low byte.
            const QString proche = QFontInfo(QFont("Verdana")).family();
            QVERIFY(QFontDatabase::families().contains(proche) && proche != "Verdana");
            QCOMPARE(initial, proche + (fontChosen ? " 10 100 #000080" : " 10 100"));
        }
    }
};

QTEST_MAIN(tst_Dialogues)
#include "tst_Dialogues.moc"
