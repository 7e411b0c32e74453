#include "common/Dialogues.h"
#include "engine/Settings.h"

#include <QtTest>

using namespace pv;

class tst_Dialogues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filterBecomesQtForm_data()
    {
        QTest::addColumn<QString>("filtre");
        QTest::addColumn<QString>("qt");
        QTest::newRow("patterns in the description") << "Sound files (*.wav)|*.wav|All files (*)|*"
                                                     << "Sound files (*.wav);;All files (*)";
        QTest::newRow("bare descriptions") << "Sounds|*.wav;*.WAV|All|*.*"
                                           << "Sounds (*.wav *.WAV);;All (*)";
        QTest::newRow("trailing bar, missing pattern") << "Text|*.txt|Other|"
                                                       << "Text (*.txt)";
        QTest::newRow("empty") << ""
                               << "";
    }

    void filterBecomesQtForm()
    {
        QFETCH(QString, filtre);
        QFETCH(QString, qt);
        QCOMPARE(gFiltreQt(filtre), qt);
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

    void fontAndColourGiveTheSettingText_data()
    {
        QTest::addColumn<bool>("fontChosen");
        QTest::addColumn<bool>("colourChosen");
        QTest::addColumn<QString>("result"); // empty: cancelled
        QTest::newRow("both") << true << true << "Serif,14,0,1,1,197121";
        QTest::newRow("colour cancelled") << true << false << "Serif,14,0,1,1,8388608";
        QTest::newRow("font cancelled") << false << true << "";
    }

    void fontAndColourGiveTheSettingText()
    {
        QFETCH(bool, fontChosen);
        QFETCH(bool, colourChosen);
        QFETCH(QString, result);
        QString initial;
        setReponsePolice([&](const QFont& f) -> std::optional<QFont> {
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
        QCOMPARE(chosen.value_or(QString()), result);
        // The dialogs start from the setting: dark blue is 0x800000 with red in the low byte.
        QCOMPARE(initial, fontChosen ? "Verdana 10 100 #000080" : "Verdana 10 100");
    }
};

QTEST_MAIN(tst_Dialogues)
#include "tst_Dialogues.moc"
