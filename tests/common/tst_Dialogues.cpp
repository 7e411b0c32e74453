#include "common/Dialogues.h"
#include "engine/Settings.h"

#include <QFontDatabase>
#include <QFontDialog>
#include <QFontInfo>
#include <QtTest>

using namespace pv;

class tst_Dialogues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
