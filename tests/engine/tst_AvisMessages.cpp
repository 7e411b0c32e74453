#include "FormFixture.h"

#include "common/Son.h"
#include "engine/AvisMessages.h"
#include "engine/NotificationBureau.h"
#include "viewer/frmMessage.h"

#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QSystemTrayIcon>
#include <QtTest>

using namespace pv;

// Records what the desktop's notifications would show; `service` says whether they are there.
struct FausseNotification : NotificationBureau
{
    FausseNotification()
        : NotificationBureau(QDBusConnection(QString()))
    {
    }
    bool disponible() const override { return service; }
    void afficher(const ContenuNotification& c) override { montrees.append(c.titre + '|' + c.texte); }
    bool service = true;
    QStringList montrees;
};

class tst_AvisMessages : public QObject
{
    Q_OBJECT

    // A message stored in the received history, as the capture hands it on.
    MessageCapture recu(const QString& expediteur, const QString& texte)
    {
        gEnregistrerHistorique(false, expediteur, texte, 50, QDateTime(QDate(2004, 1, 2), QTime(3, 4, m_secondes++)));
        return {expediteur, expediteur + " desk", "BOB", {}, texte, false, {}, gLireHistorique(false).last().cle};
    }

    static QStringList titres()
    {
        QStringList out;
        for (const frmMessage* f : test::visibleWindows<frmMessage>()) {
            out.append(f->windowTitle());
        }
        out.sort();
        return out;
    }

    test::FormFixture m_fixture;
    QMenu m_menu;
    int m_secondes = 0;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset();
        gParametres().fichierLangue = test::langFile("FRA");
        m_secondes = 0;
    }

    void cleanup() { qDeleteAll(test::visibleWindows<frmMessage>()); }

    void eachDisplayModeShowsMessagesItsWay_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("zone");    // a system tray is there
        QTest::addColumn<bool>("service"); // the desktop's notifications are there
        QTest::addColumn<QStringList>("fenetres");
        QTest::addColumn<int>("notifications");
        const QString un = "Nouveau message";
        QTest::newRow("window each") << 0 << true << true << QStringList({un, un}) << 0;
        QTest::newRow("one window") << 1 << true << true << QStringList({"Nouveaux messages"}) << 0;
        QTest::newRow("balloon") << 2 << true << true << QStringList() << 0;
        QTest::newRow("no tray: notifications") << 2 << false << true << QStringList() << 2;
        QTest::newRow("no tray, no notifications") << 2 << false << false << QStringList({un, un}) << 0;
    }

    void eachDisplayModeShowsMessagesItsWay()
    {
        QFETCH(int, mode);
        QFETCH(bool, zone);
        QFETCH(bool, service);
        QFETCH(QStringList, fenetres);
        QFETCH(int, notifications);
        gParametres().affichageMessage = AffichageMessage(mode);
        AvisMessages avis(&m_menu, nullptr);
        auto* notification = new FausseNotification;
        notification->service = service;
        avis.utiliserNotificationBureau(notification);
        avis.zoneNotificationDisponible = [zone] { return zone; };
        avis.ajouterPVSysTray();
        QCOMPARE(avis.picSysTray()->toolTip(), "Pilvanor - Aucun nouveau message");
        int restaurations = 0;
        connect(&avis, &AvisMessages::restaurerDemande, this, [&restaurations] { ++restaurations; });

        avis.mNotifierMessage(recu("PC1", "Un\r\ndeux"));
        avis.mNotifierMessage(recu("PC2", "Trois"));
        QCOMPARE(titres(), fenetres);
        QCOMPARE(notification->montrees.size(), notifications);
        QCOMPARE(avis.nombreNouveauxMessages(), 2);
        QCOMPARE(avis.picSysTray()->toolTip(), "Pilvanor - 2 nouveaux messages");
        if (mode == 1) {
            QCOMPARE(test::visibleWindows<frmMessage>().constFirst()->cboUtilisateur->count(), 2);
        }

        // A double click shows the messages told only in balloons or notifications; all of them are read then.
        avis.picSysTrayDoubleClic();
        QCOMPARE(test::visibleWindows<frmMessage>().size(), mode == 2 ? 2 : fenetres.size());
        QCOMPARE(avis.nombreNouveauxMessages(), 0);
        QCOMPARE(avis.picSysTray()->toolTip(), "Pilvanor - Aucun nouveau message");
        QCOMPARE(restaurations, 0);
        avis.picSysTrayDoubleClic(); // nothing new: the main window
        QCOMPARE(restaurations, 1);

        // Closing the last new-message window reads what came since.
        avis.mNotifierMessage(recu("PC3", "Quatre"));
        QCOMPARE(avis.nombreNouveauxMessages(), 1);
        qDeleteAll(test::visibleWindows<frmMessage>());
        QCOMPARE(avis.nombreNouveauxMessages(), 0);
    }

    // However many waited, a backlog lists in one window in every mode, and the next batch joins it.
    void aBacklogOpensOneWindowWhateverTheMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("avant"); // a single message came first
        QTest::addColumn<int>("lignes");
        QTest::addColumn<int>("fenetres");
        QTest::newRow("window each") << 0 << false << 23 << 1;
        QTest::newRow("window each, after one") << 0 << true << 23 << 2;
        QTest::newRow("one window") << 1 << false << 23 << 1;
        QTest::newRow("one window, after one") << 1 << true << 24 << 1;
        QTest::newRow("balloon") << 2 << false << 23 << 1;
    }

    void aBacklogOpensOneWindowWhateverTheMode()
    {
        QFETCH(int, mode);
        QFETCH(bool, avant);
        QFETCH(int, lignes);
        QFETCH(int, fenetres);
        gParametres().affichageMessage = AffichageMessage(mode);
        AvisMessages avis(&m_menu, nullptr);
        avis.zoneNotificationDisponible = [] { return true; };
        avis.ajouterPVSysTray();
        if (avant) {
            avis.mNotifierMessage(recu("PC0", "seul"));
        }
        int sons = 0;
        gParametres().jouerFichierSon = true;
        gParametres().fichierSon = QStringLiteral(PV_SOURCE_DIR "/CMakeLists.txt"); // any file that is there
        setLecteurSon([&sons](const QString&) { ++sons; });
        for (const int n : {12, 11}) {
            QList<MessageCapture> lot;
            for (int i = 0; i < n; ++i) {
                lot.append(recu(QStringLiteral("PC%1").arg(i), QStringLiteral("batch %1").arg(n)));
            }
            avis.mNotifierLot(lot);
        }
        setLecteurSon({});
        QCOMPARE(sons, 2);
        const QList<frmMessage*> shown = test::visibleWindows<frmMessage>();
        QCOMPARE(shown.size(), fenetres);
        const auto lot = std::ranges::find_if(shown, [](auto* f) { return f->windowTitle() == "Nouveaux messages"; });
        QVERIFY(lot != shown.end());
        QCOMPARE((*lot)->cboUtilisateur->count(), lignes);
        // The newest first.
        QCOMPARE((*lot)->txtUtilisateur->text() + '|' + (*lot)->txtMessage->toPlainText(), "PC10|batch 11");
        QCOMPARE(avis.nombreNouveauxMessages(), 23 + int(avant));
    }

    // With no tray, reminders and messages go to the desktop's notifications, asked again at each message; the
    // notification's action, or its refusal, shows what it told of.
    void noTrayBalloonGoesToTheDesktopNotifications()
    {
        gParametres().affichageMessage = AffichageMessage::InfoBulle;
        AvisMessages avis(&m_menu, nullptr);
        auto* faux = new FausseNotification;
        avis.utiliserNotificationBureau(faux);
        bool zone = false;
        avis.zoneNotificationDisponible = [&zone] { return zone; };
        avis.ajouterPVSysTray();
        avis.afficherRappel({"20040102030405", {"1", "20040102", "0304", "Wake¶up"}, "2004/01/02 03:04", "Wake\r\nup"});
        avis.mNotifierMessage(recu("ALICE", "Hello <you>\r\nthere"));
        QCOMPARE(faux->montrees,
                 QStringList({"Pilvanor Reminder|Wake\nup", "Message de ALICE desk (ALICE)|Hello <you>\nthere"}));
        QVERIFY(test::visibleWindows<frmMessage>().isEmpty());
        Q_EMIT faux->actionInvoquee({});
        QCOMPARE(titres(), QStringList({"Nouveau message", "Pilvanor Reminder"}));

        zone = true; // a tray came: its balloon, no notification
        avis.mNotifierMessage(recu("ALICE", "Second"));
        zone = false;
        faux->service = false; // neither: a window
        avis.mNotifierMessage(recu("ALICE", "Third"));
        QCOMPARE(faux->montrees.size(), 2);
        QCOMPARE(test::visibleWindows<frmMessage>().size(), 3);
        faux->service = true;
        avis.mNotifierMessage(recu("ALICE", "Fourth"));
        QCOMPARE(faux->montrees.size(), 3);
        Q_EMIT faux->echec(); // the unread ones show: the balloon's and the refused one
        QCOMPARE(test::visibleWindows<frmMessage>().size(), 5);
    }
};

QTEST_MAIN(tst_AvisMessages)
#include "tst_AvisMessages.moc"
