#include "FormFixture.h"

#include "common/IniFile.h"
#include "engine/AvisMessages.h"
#include "engine/frmPilvanor.h"
#include "settings/frmPreference.h"

#include <QCheckBox>
#include <QComboBox>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QtTest>

using namespace pv;

class tst_frmPreference : public QObject
{
    Q_OBJECT

    static QString setting(const char* section, const char* key)
    {
        return IniFile(gFichierParametres()).value(section, key).value_or("(none)");
    }

    // "Ctrl+Shift+F5": the modifiers pressed in order, then the key, then all released in reverse order. "Num5" is
    // the keypad's 5.
    static void chord(QWidget* w, const QString& text)
    {
        static const QHash<QString, std::pair<Qt::Key, Qt::KeyboardModifier>> modifiers {
            {"Ctrl", {Qt::Key_Control, Qt::ControlModifier}},
            {"Shift", {Qt::Key_Shift, Qt::ShiftModifier}},
            {"Alt", {Qt::Key_Alt, Qt::AltModifier}}};
        Qt::KeyboardModifiers held;
        QList<std::pair<Qt::Key, Qt::KeyboardModifiers>> pressed;
        for (const QString& part : text.split('+')) {
            Qt::Key key;
            Qt::KeyboardModifiers extra;
            if (modifiers.contains(part)) {
                key = modifiers[part].first;
                held |= modifiers[part].second;
            } else if (part.startsWith("Num")) {
                key = Qt::Key(Qt::Key_0 + part.mid(3).toInt());
                extra = Qt::KeypadModifier;
            } else {
                key = QKeySequence(part)[0].key();
            }
            QTest::keyPress(w, key, held | extra);
            pressed.prepend({key, held | extra});
        }
        for (const auto& [key, mods] : pressed) {
            QTest::keyRelease(w, key, mods);
        }
    }

    // Runs `act` on the modal window that the next trigger opens, once it is up.
    template<typename T>
    static void onModal(std::function<void(T*)> act)
    {
        QTimer::singleShot(0, [act] {
            auto* w = qobject_cast<T*>(QApplication::activeModalWidget());
            QVERIFY(w);
            act(w);
        });
    }

    test::FormFixture m_fixture;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset();
        gChargerParametres();
    }

    void openingShowsTheSettings()
    {
        IniFile(gFichierParametres()).update([](IniDocument& d) {
            d.setValue("General", "Langue", "FRA");
            d.setValue("General", "TouchesAccesRapide", "7,75");
            d.setValue("General", "PoliceMessage", "Courier,9,0,0,0,255");
            d.setValue("General", "AffichageMessage", "1");
        });
        gChargerParametres();
        frmPreference w;
        QCOMPARE(w.cboLangue->currentText(), "Français");
        QCOMPARE(w.txtTouchesAccesRapide->text(), "Ctrl + Shift + Alt + K");
        QCOMPARE(w.txtApercuPolice->text(), "Courier, 9 pt");
        QCOMPARE(w.txtApercuPolice->palette().color(QPalette::Text), QColor(255, 0, 0));
        QCOMPARE(w.cboAffichageMessage->currentIndex(), 1);
        QCOMPARE(w.txtDelaiAttente->text() + ' ' + w.txtNbMessageMaxHistorique->text(), "750 9"); // the fixture's
    }

    void hotKeyBoxReadsCombinations()
    {
        // Chords pressed one after the other (" " between), the box's text, the saved setting.
        const std::tuple<const char*, const char*, const char*> cas[] = {
            {"Shift+F5", "Shift + F5", "4,116"},
            {"Ctrl+Shift+Alt+K", "Ctrl + Shift + Alt + K", "7,75"},
            {"Alt", "", "0,0"},
            {"M", "", "0,0"},
            {"Ctrl+Alt+M Shift", "", "0,0"}, // a modifier pressed later starts over
            {"Ctrl+Alt+M Alt+F12", "Alt + F12", "1,123"},
            {"Ctrl+Shift+!", "Ctrl + Shift + 1", "6,49"},
            {"Ctrl+Num5", "Ctrl + e", "2,101"}, // keypad 5, as its code reads
        };
        for (const auto& [keys, shown, saved] : cas) {
            init(); // from the default settings
            frmPreference w;
            w.show();
            w.txtTouchesAccesRapide->setFocus();
            for (const QString& c : QString(keys).split(' ')) {
                chord(w.txtTouchesAccesRapide, c);
            }
            QCOMPARE(w.txtTouchesAccesRapide->text(), shown);
            QTest::mouseClick(w.cmdOK, Qt::LeftButton);
            QCOMPARE(w.result(), int(QDialog::Accepted));
            QCOMPARE(setting("General", "TouchesAccesRapide"), saved);
        }
    }

    void typedEntriesAreFilteredAndSaved()
    {
        frmPreference w;
        w.show();
        w.txtNbMessageMaxHistorique->clear();
        w.txtExpediteur->clear();
        QTest::keyClicks(w.txtNbMessageMaxHistorique, "1x2 ");
        QTest::keyClicks(w.txtExpediteur, "jean pi");
        w.txtExpediteur->setCursorPosition(4);
        QTest::keyClicks(w.txtExpediteur, " -");
        w.txtExpediteur->insert(" x y"); // pasted: the same rule
        w.txtExpediteur->end(false);
        QTest::keyClicks(w.txtExpediteur, "0123456789"); // a NetBIOS name holds 15
        QTest::keyClicks(w.txtSignature, "Bob");
        QTest::keyClick(w.txtSignature, Qt::Key_Return);
        QTest::keyClicks(w.txtSignature, "Desk 4");
        w.cboAffichageMessage->setCurrentIndex(2);
        w.chkMinimiserSysTray->setChecked(false);
        QTest::mouseClick(w.cmdOK, Qt::LeftButton);
        QCOMPARE(w.txtNbMessageMaxHistorique->text(), "12");
        QCOMPARE(w.txtExpediteur->text(), "JEAN-XYPI012345");
        QVERIFY(w.chkMinimiserSysTray->isChecked());
        const QStringList got = {setting("General", "NbMessageMaxHistorique"),
                                 setting("General", "DelaiAttente"),
                                 setting("General", "Expediteur"),
                                 setting("General", "MinimiserSysTray"),
                                 setting("Signature", "Texte")};
        QCOMPARE(got, QStringList({"12", "750", "JEAN-XYPI012345", "1", "Bob¶Desk 4"}));
        QVERIFY(m_fixture.boxes.isEmpty());
    }

    void soundAndFontGoThroughTheirDialogs()
    {
        frmPreference w;
        QStringList calls;
        w.choisirFichierSon = [&](const QString& folder) {
            calls.append("choose " + folder);
            return calls.size() == 1 ? QString("/snd/new.wav") : QString();
        };
        w.jouerSon = [&](const QString& file) { calls.append("play " + file); };
        w.choisirPolice = [&](const QString& current) -> std::optional<QString> {
            calls.append("font " + current);
            return QString("Arial,12,0,1,0,65280");
        };
        w.chkJouerFichierSon->setChecked(true);
        w.txtFichierSon->setText("/usr/share/sounds/a.wav");
        w.cmdOuvrirFichierSon->click();
        w.cmdOuvrirFichierSon->click(); // cancelled: the file stays
        w.cmdJouerSon->click();
        w.cmdAfficherDialoguePolice->click();
        QCOMPARE(
            calls,
            QStringList(
                {"choose /usr/share/sounds/", "choose /snd/", "play /snd/new.wav", "font Verdana,10,1,0,0,8388608"}));
        QCOMPARE(w.txtApercuPolice->text(), "Arial, 12 pt");
        QVERIFY(w.txtApercuPolice->font().italic());
        w.cmdOK->click();
        QCOMPARE(setting("General", "FichierSon"), "/snd/new.wav");
        QCOMPARE(setting("General", "PoliceMessage"), "Arial,12,0,1,0,65280");
    }

    void captureSetUpRunsWithTheTimerStopped()
    {
        QTimer capture;
        capture.start(100);
        frmPreference w(&capture);
        QList<bool> active;
        w.configurerCapture = [&] { active.append(capture.isActive()); };
        w.cmdConfigurerCapture->click();
        QCOMPARE(active, QList<bool>({false}));
        QVERIFY(capture.isActive());
    }

    // Offscreen the sessions are pretended; tests/app/wayland_e2e.sh runs this under a real compositor, on a bus
    // whose global-shortcuts portal is there when PV_PORTAIL_ESSAI is 1.
    void hotKeyNoticeWhereNoKeyCanBeGrabbed_data()
    {
        QTest::addColumn<QByteArray>("session");
        QTest::addColumn<QString>("langue");
        QTest::addColumn<QString>("mots");
        QTest::newRow("X11") << QByteArray("x11") << "ENG"
                             << "";
        QTest::newRow("Wayland") << QByteArray("wayland") << "ENG"
                                 << "keyboard shortcut settings";
        QTest::newRow("Wayland, French") << QByteArray("wayland") << "FRA"
                                         << "raccourcis clavier du bureau";
    }

    void hotKeyNoticeWhereNoKeyCanBeGrabbed()
    {
        QFETCH(QByteArray, session);
        QFETCH(QString, langue);
        QFETCH(QString, mots);
        const bool portail = qEnvironmentVariableIntValue("PV_PORTAIL_ESSAI") == 1;
        const auto apres = qScopeGuard([type = qgetenv("XDG_SESSION_TYPE"), affichage = qgetenv("WAYLAND_DISPLAY")] {
            qputenv("XDG_SESSION_TYPE", type);
            qputenv("WAYLAND_DISPLAY", affichage);
        });
        if (!qEnvironmentVariableIsSet("PV_PORTAIL_ESSAI")) {
            // No desktop's bus may answer for a portal here.
            qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
            qputenv("WAYLAND_DISPLAY", session == "wayland" ? "wayland-0" : "");
        }
        qputenv("XDG_SESSION_TYPE", session);
        IniFile(gFichierParametres()).writeString("General", "Langue", langue);
        gChargerParametres();
        frmPreference f;
        f.show();
        auto* avis = f.findChild<QLabel*>("lblAvisTouchesAccesRapide");
        QCOMPARE(avis != nullptr, !mots.isEmpty() && !portail);
        if (avis) {
            QVERIFY(avis->isVisible());
            QVERIFY2(avis->text().contains(mots), qPrintable(avis->text()));
            // The test program is on no search path: its whole path is the command to bind.
            QVERIFY2(avis->text().endsWith(QCoreApplication::applicationFilePath() + " --show"),
                     qPrintable(avis->text()));
            if (const QString dossier = qEnvironmentVariable("PV_SCREENSHOT_DIR"); !dossier.isEmpty()) {
                // The picture shows what an installed program says.
                avis->setText(avis->text().replace(QCoreApplication::applicationFilePath(), "pilvanor"));
                QVERIFY(f.grab().save(dossier + "/pilvanor-hotkey-notice-" + langue.toLower() + ".png"));
            }
        }
    }

    void mainWindowAppliesSavedPreferencesAtOnce()
    {
        frmPilvanor main;
        main.charger();
        QVERIFY(main.avisMessages()->picSysTray());
        QCOMPARE(main.mnuFicQuitter->text(), "&Quit");
        QVERIFY(main.mnuFicPreference->isEnabled());
        onModal<frmPreference>([](frmPreference* p) {
            p->cboLangue->setCurrentIndex(p->cboLangue->findData("FRA"));
            p->chkMinimiserSysTray->setChecked(false);
            p->choisirPolice = [](const QString&) { return std::optional<QString>("Courier,14,0,0,0,0"); };
            p->cmdAfficherDialoguePolice->click();
            p->cmdOK->click();
        });
        main.bouton.Preference->trigger();
        QCOMPARE(main.mnuFicQuitter->text(), "&Quitter");
        QVERIFY(!main.avisMessages()->picSysTray());
        QCOMPARE(main.txtMessage->font().family(), "Courier");
        QCOMPARE(main.txtMessage->font().pointSize(), 14);

        // Cancel changes nothing.
        onModal<frmPreference>([](frmPreference* p) {
            p->cboLangue->setCurrentIndex(p->cboLangue->findData("ENG"));
            p->cmdAnnuler->click();
        });
        main.mnuFicPreference->trigger();
        QCOMPARE(main.mnuFicQuitter->text(), "&Quitter");
        QCOMPARE(setting("General", "Langue"), "FRA");
        QVERIFY(m_fixture.boxes.isEmpty());
    }
};

QTEST_MAIN(tst_frmPreference)
#include "tst_frmPreference.moc"
