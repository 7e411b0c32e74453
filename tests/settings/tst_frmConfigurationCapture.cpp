#include "FormFixture.h"

#include "common/IniFile.h"
#include "common/MessengerText.h"
#include "common/NetworkProbes.h"
#include "engine/Capture.h"
#include "messenger/Spool.h"
#include "messenger/Transport.h"
#include "settings/frmConfigurationCapture.h"

#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

using namespace pv;

// The set-up against the real message service, started on loopback under the name LOCALHOST.
class tst_frmConfigurationCapture : public QObject
{
    Q_OBJECT

    static QString setting(const char* key)
    {
        return IniFile(gFichierParametres()).value("General", key).value_or("(none)");
    }

    // Starts pilvanor-messenger in this locale; false when it did not say which port it took.
    bool startService(const QString& locale)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LC_ALL", locale);
        m_service.setProcessEnvironment(env);
        m_service.setStandardErrorFile(m_fixture.path("service.log"));
        const QString options = "--foreground --bind 127.0.0.1 --no-udp --name LOCALHOST --port 0 --spool";
        m_service.start(PV_BIN_DIR "/pilvanor-messenger", options.split(' ') << spool());
        QRegularExpressionMatch started;
        for (int i = 0; i < 250 && !started.hasMatch(); ++i) {
            QTest::qWait(20);
            QFile log(m_fixture.path("service.log"));
            started = QRegularExpression("TCP port (\\d+),").match(log.open(QIODevice::ReadOnly) ? log.readAll() : "");
        }
        qputenv("PILVANOR_SMB_PORT", started.captured(1).toUtf8());
        return started.hasMatch();
    }

    QString spool() const { return m_fixture.path("spool"); }

    test::FormFixture m_fixture;
    QProcess m_service;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset();
        gChargerParametres();
    }

    void cleanup()
    {
        m_service.terminate();
        m_service.waitForFinished();
    }

    void startNeedsAStation()
    {
        frmConfigurationCapture w;
        QCOMPARE(w.txtStation->text(), gObtenirNomHote().toUpper());
        w.txtStation->clear();
        QVERIFY(!w.cmdDebuter->isEnabled());
        QTest::keyClicks(w.txtStation, "pc1");
        QCOMPARE(w.txtStation->text(), "PC1");
        QVERIFY(w.cmdDebuter->isEnabled());
    }

    void learnsTitleAndHeaderFromTheService_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("header");
        QTest::newRow("English") << "en_US.UTF-8"
                                 << "Messenger Service "
                                 << "Message from #EXPEDITEUR# to #DESTINATAIRE# on #DATE#";
        QTest::newRow("French") << "fr_FR.UTF-8"
                                << "Service Affichage des messages "
                                << "Message de #EXPEDITEUR# \u00e0 #DESTINATAIRE# le #DATE#";
    }

    void learnsTitleAndHeaderFromTheService()
    {
        QFETCH(QString, locale);
        QFETCH(QString, title);
        QFETCH(QString, header);
        QVERIFY2(startService(locale), "the message service did not start");
        frmConfigurationCapture w;
        w.dossierSpool = spool();
        w.show();
        w.txtStation->clear();
        QTest::keyClicks(w.txtStation, "localhost");
        QSignalSpy done(&w, &frmConfigurationCapture::termine);
        QTest::mouseClick(w.cmdDebuter, Qt::LeftButton);
        QCOMPARE(QApplication::overrideCursor() ? QApplication::overrideCursor()->shape() : Qt::ArrowCursor,
                 Qt::WaitCursor);
        QVERIFY(!w.cmdDebuter->isEnabled() && !w.cmdAnnuler->isEnabled());
        QVERIFY(done.wait(15000));
        QCOMPARE(done.at(0).at(0).toBool(), true);
        QVERIFY(!QApplication::overrideCursor());
        QCOMPARE(m_fixture.boxes,
                 QList({qMakePair(gMessageTexte(gParametres().fichierLangue, "ConfigurationCaptureTerminee"),
                                  int(MsgStyle::Information))}));
        QCOMPARE(w.result(), int(QDialog::Accepted));
        QCOMPARE(setting("TitreFenetreMessenger"), title);
        QCOMPARE(setting("EnteteFenetreMessenger"), header);
        QCOMPARE(PopupSpool(stdText(spool())).count(), 0u);

        // The capture reads the service's next pop-up with what was learnt.
        QCOMPARE(netMessageBufferSend(SendOptions {}, "LOCALHOST", "ALICE", "Hi").code(), 0);
        const std::optional<Popup> next
            = PopupSpool(stdText(spool())).oldestWithTitle(stdText(gParametres().titreFenetreMessenger));
        QVERIFY(next && next->arrived);
        const EnteteAnalysee h
            = gAnalyserEntete(gParametres().enteteFenetreMessenger, qtext(next->text).section("\r\n", 0, 0));
        QCOMPARE(h.expediteur + '|' + h.destinataire, "ALICE|LOCALHOST");
        QCOMPARE(h.date, qDateTime(*next->arrived).toString("dd/MM/yyyy HH:mm:ss"));
    }

    void popupWithoutHeaderSavesNothing()
    {
        frmConfigurationCapture w;
        w.dossierSpool = spool();
        w.show();
        Popup p;
        p.title = "Messenger Service ";
        p.text = "Pilvanor";
        QVERIFY(PopupSpool(stdText(spool())).write(p));
        QVERIFY(!w.mObtenirInfoFenetreMessenger());
        QCOMPARE(m_fixture.boxes,
                 QList({qMakePair(gMessageTexte(gParametres().fichierLangue, "ConfigurationCaptureProbleme"),
                                  int(MsgStyle::Exclamation))}));
        QVERIFY(w.isVisible());
        QCOMPARE(setting("TitreFenetreMessenger"), "(none)");
        QCOMPARE(PopupSpool(stdText(spool())).count(), 1u);
    }
};

QTEST_MAIN(tst_frmConfigurationCapture)
#include "tst_frmConfigurationCapture.moc"
