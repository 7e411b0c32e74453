#include "common/Language.h"
#include "common/LecteurSon.h"
#include "common/Paths.h"
#include "engine/Settings.h"
#include "settings/frmPreference.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <cmath>

using namespace pv;

// The preferences' test button heard for real: the real player into the sound server of son_e2e.sh, whose default
// monitor is recorded meanwhile.
class tst_SonPreference : public QObject
{
    Q_OBJECT

    static constexpr int Frequence = 44100;
    QTemporaryDir m_dir;

    QString ecrire(const QString& nom, const QByteArray& contenu)
    {
        QFile f(m_dir.filePath(nom));
        if (!f.open(QIODevice::WriteOnly) || f.write(contenu) != contenu.size()) {
            qFatal("cannot write %s", qPrintable(f.fileName()));
        }
        return f.fileName();
    }

    // A 440 Hz sine at half scale, 16-bit mono PCM.
    QString ecrireSinus(const QString& nom, double secondes)
    {
        const quint32 n = quint32(Frequence * secondes);
        QByteArray wav;
        auto le = [&](auto v) {
            v = qToLittleEndian(v);
            wav.append(reinterpret_cast<const char*>(&v), sizeof v);
        };
        wav.append("RIFF");
        le(quint32(36 + n * 2));
        wav.append("WAVEfmt ");
        for (quint32 v : {16u, 1u | 1u << 16, quint32(Frequence), quint32(Frequence * 2), 2u | 16u << 16}) {
            le(v);
        }
        wav.append("data");
        le(n * 2);
        for (quint32 i = 0; i < n; ++i) {
            le(qint16(16384 * std::sin(2 * M_PI * 440 * i / Frequence)));
        }
        return ecrire(nom, wav);
    }

private Q_SLOTS:
    void initTestCase()
    {
        gDefinirDossierProgramme(QStringLiteral(PV_SOURCE_DIR "/lang"));
        gDefinirFichierParametres(gCheminFichierParametres());
        gChargerParametres();
        setMessageBoxPresenter([](const QString& text, int, const QString&) -> int {
            qFatal("unexpected message box: %s", qPrintable(text));
        });
        installLecteurSon();
    }

    void boutonEcouter_data()
    {
        QTest::addColumn<QString>("fichier");
        QTest::addColumn<double>("secondes"); // of sine to hear, 0 for silence
        QTest::newRow("missing file") << m_dir.filePath("absent.wav") << 0.0;
        QTest::newRow("not a WAV file") << ecrire("texte.wav", "hello") << 0.0;
        QTest::newRow("chunk past the end")
            << ecrire("coupe.wav", QByteArray("RIFF\0\0\0\0WAVEjunk\xf8\xff\xff\xff", 20)) << 0.0;
        QTest::newRow("half a second") << ecrireSinus("long.wav", 0.5) << 0.5;
        QTest::newRow("a tenth of a second") << ecrireSinus("court.wav", 0.1) << 0.1;
    }

    void boutonEcouter()
    {
        QFETCH(QString, fichier);
        QFETCH(double, secondes);
        QProcess pacat;
        pacat.start("pacat",
                    {"--record",
                     "--device=@DEFAULT_MONITOR@",
                     "--format=s16le",
                     "--rate=44100",
                     "--channels=1",
                     "--latency-msec=20"});
        // The button is pressed only once the recording flows.
        QVERIFY2(pacat.waitForReadyRead(5000), qPrintable(pacat.errorString() + pacat.readAllStandardError()));

        frmPreference w;
        w.show();
        w.chkJouerFichierSon->setChecked(true);
        w.txtFichierSon->setText(fichier);
        QTest::mouseClick(w.cmdJouerSon, Qt::LeftButton);
        QTest::qWait(int(secondes * 1000) + 1000);
        pacat.terminate();
        QVERIFY(pacat.waitForFinished(5000));

        // Peak, and RMS over the span from the first to the last sample above a tenth of full scale.
        const QByteArray raw = pacat.readAllStandardOutput();
        QList<int> s;
        for (qsizetype i = 0; i + 1 < raw.size(); i += 2) {
            s.append(std::abs(int(qFromLittleEndian<qint16>(raw.constData() + i))));
        }
        const int pic = s.isEmpty() ? 0 : *std::max_element(s.begin(), s.end());
        auto fort = [](int v) { return v > 3277; };
        const auto debut = std::find_if(s.begin(), s.end(), fort);
        const auto fin = std::find_if(s.rbegin(), s.rend(), fort).base();
        double somme = 0;
        for (auto i = debut; i < fin; ++i) {
            somme += double(*i) * *i;
        }
        const double duree = debut < fin ? double(fin - debut) / Frequence : 0;
        const double eqm = duree ? std::sqrt(somme / (fin - debut)) : 0;
        qInfo("%.2f s recorded: peak %d, sound of %.3f s, RMS %.0f", double(s.size()) / Frequence, pic, duree, eqm);
        QVERIFY(s.size() > Frequence * (secondes + 0.5)); // silence is heard only if the recording went on
        if (secondes == 0) {
            QCOMPARE(pic, 0);
        } else {
            // The sine at half scale (peak 16384, RMS 11585), whole: the server may miss its first few ms.
            QVERIFY(pic > 15000 && pic < 18000);
            QVERIFY(eqm > 10500 && eqm < 12700);
            QVERIFY2(duree > secondes - 0.04 && duree < secondes + 0.01, qPrintable(QString::number(duree)));
        }
    }
};

QTEST_MAIN(tst_SonPreference)
#include "tst_SonPreference.moc"
