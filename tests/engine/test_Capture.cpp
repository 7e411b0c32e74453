#include "TestFiles.h"

#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/MessengerText.h"
#include "common/Scrambling.h"
#include "engine/Capture.h"
#include "engine/Envoi.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"
#include "messenger/Service.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

using namespace pv;

namespace {

const QString TitreFr = QStringLiteral("Service Affichage des messages ");
const QString ModeleFr = QString::fromUtf8("Message de #EXPEDITEUR# à #DESTINATAIRE# le #DATE#");
const QDateTime Horloge(QDate(2026, 11, 21), QTime(10, 0, 5, 250));
// Long before the capture: a message that waited in the spool keeps the time it came.
const QDateTime Arrivee(QDate(2026, 11, 20), QTime(19, 5, 0, 125));

QString popupTexte(const QString& entete, const QString& corps)
{
    return entete + QStringLiteral("\r\n\r\n") + corps;
}

// A pop-up of DE for BOB, as the service writes it.
Popup popup(const QString& de, const QString& corps, const QString& adresse = "10.0.0.7")
{
    return {stdText(Parametres {}.titreFenetreMessenger),
            stdText(popupTexte("Message from " + de + " to BOB on d", corps)),
            stdText(de),
            "BOB",
            stdText(adresse),
            arrivalTime(Arrivee),
            {}};
}

// Counts the atomic writes of the data file: each renames a new file onto its name.
class EcrituresDonnees
{
public:
    explicit EcrituresDonnees(const QString& dossier)
        : m_fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        // With the temporary file's own event between, so that two writes in a row are not merged into one.
        ::inotify_add_watch(m_fd, QFile::encodeName(dossier).constData(), IN_MOVED_FROM | IN_MOVED_TO);
    }
    ~EcrituresDonnees() { ::close(m_fd); }

    // Writes since the last call.
    int compter()
    {
        int n = 0;
        alignas(inotify_event) char tampon[4096];
        for (ssize_t lu; (lu = ::read(m_fd, tampon, sizeof tampon)) > 0;) {
            for (ssize_t at = 0; at < lu;) {
                const auto* e = reinterpret_cast<const inotify_event*>(tampon + at);
                n += (e->mask & IN_MOVED_TO) && e->len > 0 && QLatin1String(e->name) == QLatin1String("Pilvanor.pv");
                at += ssize_t(sizeof(inotify_event) + e->len);
            }
        }
        return n;
    }

private:
    int m_fd;
};

class CaptureTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
        IniFile(gFichierDonnees()).update([](IniDocument& d) {
            d.setValue("User", "ALICE", "Alice [desk]|0");
            d.setValue("User", "MALLORY", "Mallory|1");
        });
        gDefinirFichierParametres(m_dir.filePath("settings.ini"));
        gChargerUtilisateurGroupe();
        gParametres() = Parametres {};
        gParametres().nbMessageMaxHistorique = 4; // not the default: the capture must read it
        setHorlogeEssai(Horloge);
        setMessageBoxPresenter([this](const QString& texte, int, const QString&) {
            m_boites.append(texte);
            return 1;
        });
    }

    void TearDown() override
    {
        setHorlogeEssai({});
        setMessageBoxPresenter({});
        gDefinirFichierParametres({});
    }

    void ecrire(const Popup& p) { ASSERT_TRUE(m_spool.write(p)); }
    void ecrire(const QString& de,
                const QString& texte,
                const QString& titre = gParametres().titreFenetreMessenger,
                const QDateTime& arrivee = Arrivee)
    {
        const auto quand = arrivee.isValid() ? std::optional(arrivalTime(arrivee)) : std::nullopt;
        ASSERT_TRUE(m_spool.write(Popup {stdText(titre), stdText(texte), stdText(de), "BOB", "10.0.0.7", quand, {}}));
    }

    QStringList historique() const
    {
        return IniFile(gFichierDonnees()).readSection(QLatin1String(SectionMessageRecu), IniFile::HistoryLimit);
    }

    QTemporaryDir m_dir;
    PopupSpool m_spool {stdText(m_dir.filePath("popups"))};
    QStringList m_boites;
};

} // namespace

TEST(CaptureEntete, FollowsTheTemplate)
{
    const QString Modele = Parametres {}.enteteFenetreMessenger;
    struct Cas
    {
        QString modele, entete, expediteur, destinataire, date;
    };
    const Cas cas[] = {
        {Modele, "Message from ALICE to BOB on 21/11/2026 09:15:00", "ALICE", "BOB", "21/11/2026 09:15:00"},
        // Longer than the marker: the recipient is found only because the copy of the template moved along.
        {Modele, "Message from VERYLONGSTATIONNAME to B on 1/2/2026", "VERYLONGSTATIONNAME", "B", "1/2/2026"},
        {ModeleFr, QString::fromUtf8("Message de PC12 à PC7 le 21/11/2026 09:15"), "PC12", "PC7", "21/11/2026 09:15"},
        {Modele, "Message from ALICE", "ALICE", "", ""},
        {Modele, "Hello", "", "", ""},
        {Modele, "Message from  to BOB on x", "", "BOB", "x"},
        {"#DATE#", "any text at all", "", "", "any text at all"},
    };
    for (const Cas& c : cas) {
        const EnteteAnalysee h = gAnalyserEntete(c.modele, c.entete);
        EXPECT_EQ(QStringList({h.expediteur, h.destinataire, h.date}),
                  QStringList({c.expediteur, c.destinataire, c.date}))
            << c.entete.toStdString();
    }
}

TEST_F(CaptureTest, StoresOneMessagePerTick)
{
    struct Cas
    {
        bool apprisFr;         // the title and template learnt are the French ones
        PopupLanguage service; // the language the service writes in
        bool crypte;
        QDateTime arrivee;
        QString entete, corps, expediteur, description, stocke, cle;
    };
    const QString En = QStringLiteral("Message from ALICE to BOB on 21/11/2026 10:00:01");
    const QString Fr = QString::fromUtf8("Message de PC9 à BOB le 21/11/2026 10:00:01");
    const QString Secret = QStringLiteral("Secret 42\r\nok"), Brouille = gEncoderTexte(gTexteCrypte(Secret));
    const QString CleArrivee = QStringLiteral("20261120190500125");
    const PopupLanguage Anglais = PopupLanguage::English, Francais = PopupLanguage::French;
    const Cas cas[] = {
        {false, Anglais, false, Arrivee, En, "Hello\r\nBob", "ALICE", "Alice [desk]", "ALICE|Hello¶Bob", CleArrivee},
        {true, Francais, false, Arrivee, Fr, "Salut", "PC9", "PC9", "PC9|Salut", CleArrivee},
        // Learnt in one language, the service in the other: its own forms are known.
        {false, Francais, false, Arrivee, Fr, "Salut", "PC9", "PC9", "PC9|Salut", CleArrivee},
        {true, Anglais, false, Arrivee, En, "Hi", "ALICE", "Alice [desk]", "ALICE|Hi", CleArrivee},
        {false, Anglais, true, Arrivee, En, Secret, "ALICE", "Alice [desk]", "ALICE|" + Brouille, CleArrivee},
        // A pop-up that does not say when it came takes the capture's time.
        {false, Anglais, false, {}, En, "Hi", "ALICE", "Alice [desk]", "ALICE|Hi", "20261121100005250"},
    };
    for (const Cas& c : cas) {
        IniFile(gFichierDonnees()).removeSection(QLatin1String(SectionMessageRecu));
        gParametres().titreFenetreMessenger = c.apprisFr ? TitreFr : Parametres {}.titreFenetreMessenger;
        gParametres().enteteFenetreMessenger = c.apprisFr ? ModeleFr : Parametres {}.enteteFenetreMessenger;
        ecrire(c.expediteur,
               popupTexte(c.entete, c.crypte ? gTexteCrypte(c.corps) : c.corps),
               qtext(popupWording(c.service).title),
               c.arrivee);
        const ResultatCapture r = Capture(m_spool.folder()).mCapturerMessage();
        ASSERT_TRUE(r.message) << c.entete.toStdString();
        const MessageCapture& m = *r.message;
        EXPECT_EQ(QStringList({m.expediteur, m.description, m.texte, m.adresse, m.cleHistorique}),
                  QStringList({c.expediteur, c.description, c.corps, "10.0.0.7", c.cle}));
        EXPECT_EQ(m.crypte, c.crypte);
        EXPECT_EQ(historique(), QStringList {c.cle + "=" + c.stocke});
        EXPECT_EQ(m_spool.count(), 0u);
    }
    EXPECT_TRUE(m_boites.isEmpty()) << m_boites.join('\n').toStdString();
}

TEST_F(CaptureTest, DropsIgnoredSendersAndLeavesOtherTitles)
{
    ecrire("X", popupTexte("Message from X to BOB on d", "not ours"), QStringLiteral("Messenger Service"));
    ecrire("MALLORY", popupTexte("Message from mallory to BOB on d", "spam"));
    ecrire(popup("ALICE", "first"));
    ecrire(popup("PC9", "second"));
    Capture capture(m_spool.folder());
    capture.setSeuilLot(1);
    const ResultatCapture r = capture.mCapturerMessage();
    QStringList pris;
    for (const MessageCapture& m : r.lot) {
        pris.append(m.texte);
    }
    EXPECT_EQ(pris, (QStringList {"first", "second"}));
    // The same arrival for both: the second key moves on by a millisecond rather than replace the first.
    EXPECT_EQ(historique(), (QStringList {"20261120190500125=ALICE|first", "20261120190500126=PC9|second"}));
    ASSERT_EQ(m_spool.count(), 1u) << "the ignored pop-up is removed unstored";
    EXPECT_EQ(m_spool.all().front().title, "Messenger Service");
    EXPECT_EQ(std::pair(r.nbNonReconnus, r.titreNonReconnu), std::pair(qsizetype(1), QString("Messenger Service")));
    // Learnt now: what waited under it is taken.
    gParametres().titreFenetreMessenger = QStringLiteral("Messenger Service");
    const ResultatCapture apres = capture.mCapturerMessage();
    ASSERT_TRUE(apres.message);
    EXPECT_EQ(apres.message->texte, "not ours");
    EXPECT_EQ(apres.nbNonReconnus, 0);
}

TEST_F(CaptureTest, LiveMessagesComeOneATickABacklogAsABatch)
{
    Capture capture(m_spool.folder());
    ecrire(popup("ALICE", "1"));
    ecrire(popup("PC9", "2"));
    for (const char* texte : {"1", "2"}) {
        const ResultatCapture r = capture.mCapturerMessage();
        ASSERT_TRUE(r.message);
        EXPECT_EQ(r.message->texte, texte);
    }
    for (int i = 0; i <= Capture::SeuilLot; ++i) {
        ecrire(popup("ALICE", QString::number(i)));
    }
    const ResultatCapture r = capture.mCapturerMessage();
    EXPECT_FALSE(r.message);
    EXPECT_EQ(r.lot.size(), Capture::SeuilLot + 1);
}

TEST_F(CaptureTest, TakesEveryPopupWaitingAtATickInOneWrite)
{
    // Pop-ups written before a tick ("SENDER|body", in arrival order), then what the tick stores ("SENDER|text",
    // in order) and how many pop-ups are left in the spool.
    struct Tick
    {
        QStringList ecrits, stockes;
        qsizetype restent;
    };
    struct Cas
    {
        const char* nom;
        QList<Tick> ticks;
    };
    const Cas cas[] = {
        {"one alone is a message of its own", {{{"ALICE|hi"}, {"ALICE|hi"}, 0}}},
        {"arrival order", {{{"PC9|1", "ALICE|2", "MAX|3", "ALICE|4"}, {"PC9|1", "ALICE|2", "MAX|3", "ALICE|4"}, 0}}},
        {"history trimmed to the newest four",
         {{{"PC9|1", "ALICE|2", "MAX|3", "ALICE|4", "PC9|5"}, {"PC9|1", "ALICE|2", "MAX|3", "ALICE|4", "PC9|5"}, 0}}},
        {"ignored senders, their parts too",
         {{{"MALLORY|spam", "ALICE|1", "MALLORY|[01/02]\r\nx", "PC9|2"}, {"ALICE|1", "PC9|2"}, 0}}},
        {"parts within a batch",
         {{{"LUC|[01/02]\r\nHalf ", "ALICE|1", "LUC|[02/02]\r\nhalf"}, {"ALICE|1", "LUC|Half half"}, 0}}},
        {"parts across batches",
         {{{"LUC|[01/03]\r\nA ", "ALICE|1", "LUC|[02/03]\r\nB ", "PC9|2"}, {"ALICE|1", "PC9|2"}, 2},
          {{"MAX|3", "LUC|[03/03]\r\nC", "PC9|4"}, {"MAX|3", "LUC|A B C", "PC9|4"}, 0}}},
        {"only parts: nothing stored",
         {{{"LUC|[01/02]\r\nA ", "MAX|[01/02]\r\nB "}, {}, 2}, {{"MAX|[02/02]\r\nC"}, {"MAX|B C"}, 1}}},
    };
    EcrituresDonnees ecritures(m_dir.path());
    for (const Cas& c : cas) {
        SCOPED_TRACE(c.nom);
        IniFile(gFichierDonnees()).removeSection(QLatin1String(SectionMessageRecu));
        for (const Popup& p : m_spool.all()) {
            ASSERT_TRUE(m_spool.remove(p));
        }
        Capture capture(m_spool.folder());
        capture.setSeuilLot(1);
        ecritures.compter();
        QStringList tous;
        for (const Tick& t : c.ticks) {
            std::vector<Popup> popups; // in one sync pass, as the service writes what completes together
            for (const QString& e : t.ecrits) {
                const QString de = e.section('|', 0, 0);
                const QString corps = e.section('|', 1);
                popups.push_back(popup(de, corps));
            }
            ASSERT_TRUE(std::ranges::all_of(m_spool.write(popups).durable, std::identity()));
            const ResultatCapture r = capture.mCapturerMessage();
            QStringList stockes;
            for (const MessageCapture& m : r.message ? QList {*r.message} : r.lot) {
                stockes.append(m.expediteur + '|' + m.texte);
            }
            EXPECT_EQ(stockes, t.stockes);
            EXPECT_EQ(bool(r.message), t.stockes.size() == 1) << "several come as a batch";
            EXPECT_EQ(ecritures.compter(), t.stockes.isEmpty() ? 0 : 1);
            EXPECT_EQ(m_spool.count(), t.restent);
            tous += t.stockes;
        }
        QStringList valeurs;
        for (const QString& ligne : historique()) {
            valeurs.append(ligne.section('=', 1));
        }
        EXPECT_EQ(valeurs, tous.mid(std::max<qsizetype>(0, tous.size() - 4)));
    }
}

TEST_F(CaptureTest, JoinsPartsAndStoresThemOnceWhenTheLastArrives)
{
    for (const auto& [crypte, redemarrer] : {std::pair {false, false}, {true, false}, {false, true}}) {
        SCOPED_TRACE(testing::Message() << crypte << redemarrer);
        IniFile(gFichierDonnees()).removeSection(QLatin1String(SectionMessageRecu));
        auto partie = [&](int i) {
            const QString corps = QStringLiteral("[%1/03]\r\npart %2;").arg(i, 2, 10, QLatin1Char('0')).arg(i);
            ecrire(popup("ALICE", crypte ? gTexteCrypte(corps) : corps));
        };
        auto capture = std::make_unique<Capture>(m_spool.folder());
        for (int i = 1; i <= 2; ++i) {
            partie(i);
            EXPECT_FALSE(capture->mCapturerMessage().message);
            EXPECT_EQ(m_spool.count(), size_t(i)) << "parts stay in the spool until stored";
            EXPECT_TRUE(historique().isEmpty());
        }
        if (redemarrer) { // a restart loses the joined parts in memory, never the spool
            capture = std::make_unique<Capture>(m_spool.folder());
            for (int i = 1; i <= 2; ++i) {
                EXPECT_FALSE(capture->mCapturerMessage().message);
            }
        }
        partie(3);
        const auto r = capture->mCapturerMessage();
        ASSERT_TRUE(r.message);
        const QString joint = QStringLiteral("part 1;part 2;part 3;");
        EXPECT_EQ(r.message->texte, joint);
        EXPECT_EQ(r.message->crypte, crypte);
        EXPECT_EQ(historique(), QStringList {"20261120190500125=ALICE|" + (crypte ? gTexteCrypte(joint) : joint)});
        EXPECT_EQ(m_spool.count(), 0u);
        EXPECT_EQ(capture->nbExpediteursEnAttente(), 0);
    }
}

TEST_F(CaptureTest, JoinsPartsPerSenderAsTheSenderNumbersThem)
{
    // LUC's text goes through the real sender, in more than 99 parts; MAX writes between LUC's parts.
    QStringList luc;
    EnvoiMessage envoi([&](const QString&, const QString&, const QString& t) { return luc.append(t), 0; },
                       [](const QString&, QString*, int) { return true; });
    QString long_;
    for (int i = 0; long_.size() < 100'000; ++i) {
        long_ += QString::number(i) + QLatin1Char(' ');
    }
    ASSERT_TRUE(envoi.envoyerMaintenant({long_, {DestinataireChoisi::Liste::Utilisateurs, -1, "BOB"}, false}));
    ASSERT_GT(luc.size(), 99);
    const QStringList max = {"Hello from Max", "[01/02]\r\nHalf ", "[02/02]\r\nand half"};
    std::vector<Popup> popups; // in one sync pass
    for (qsizetype i = 0; i < luc.size(); ++i) {
        popups.push_back(popup("LUC", luc[i]));
        if (i < max.size()) {
            popups.push_back(popup("MAX", max[i], "10.0.0.8"));
        }
    }
    ASSERT_TRUE(std::ranges::all_of(m_spool.write(popups).durable, std::identity()));
    Capture capture(m_spool.folder());
    for (int tick = 0; m_spool.count() > 0 && tick < 2 * luc.size(); ++tick) {
        capture.mCapturerMessage();
    }
    QStringList stocke;
    for (const QString& ligne : historique()) {
        stocke.append(ligne.section('=', 1));
    }
    EXPECT_EQ(stocke, (QStringList {"MAX|Hello from Max", "MAX|Half and half", "LUC|" + long_}));
    EXPECT_EQ(m_spool.count(), 0u);
    EXPECT_EQ(capture.nbExpediteursEnAttente(), 0);
}

TEST_F(CaptureTest, FollowsASpoolFolderMadeOrMadeAgainAfterTheStart)
{
    Capture capture(m_spool.folder()); // no folder yet: the service has not started
    EXPECT_FALSE(capture.mCapturerMessage().message);
    for (const QString texte : {"first", "after the folder was made again"}) {
        ecrire(popup("ALICE", texte));
        const ResultatCapture r = capture.mCapturerMessage();
        ASSERT_TRUE(r.message);
        EXPECT_EQ(r.message->texte, texte);
        ASSERT_TRUE(QDir(qtext(m_spool.folder())).removeRecursively());
        EXPECT_FALSE(capture.mCapturerMessage().message);
    }
}

TEST_F(CaptureTest, OnlyRemovesAPopupStoredBeforeACrash)
{
    ecrire(popup("ALICE", "hi"));
    const QString id = qtext(m_spool.all().front().id);
    IniFile(gFichierDonnees()).writeString(QLatin1String(SectionPopupCapture), id, "20261121095959000");
    Capture capture(m_spool.folder());
    EXPECT_FALSE(capture.mCapturerMessage().message);
    EXPECT_EQ(m_spool.count(), 0u);
    EXPECT_TRUE(historique().isEmpty());
}

TEST_F(CaptureTest, KeepsEveryPopupWhenTheStoreFails)
{
    ecrire(popup("LUC", "[01/02]\r\nHalf "));
    auto capture = std::make_unique<Capture>(m_spool.folder());
    capture->setSeuilLot(1);
    EXPECT_FALSE(capture->mCapturerMessage().message);
    ecrire(popup("ALICE", "hi"));
    ecrire(popup("MALLORY", "spam"));
    ecrire(popup("LUC", "[02/02]\r\nhalf"));
    // A folder where the data file should be: the write must fail.
    const QString donnees = gFichierDonnees();
    ASSERT_TRUE(QDir().mkpath(m_dir.filePath("blocked/Pilvanor.pv")));
    gDefinirFichierDonnees(m_dir.filePath("blocked/Pilvanor.pv"));
    for (int tick = 0; tick < 2; ++tick) {
        const ResultatCapture r = capture->mCapturerMessage();
        EXPECT_FALSE(r.message);
        EXPECT_TRUE(r.lot.isEmpty());
    }
    ASSERT_EQ(m_boites.size(), 1) << "one report, then a pause before trying again";
    EXPECT_TRUE(m_boites.first().contains("frmPilvanor.mCapturerMessage"));
    EXPECT_EQ(m_spool.count(), 4u);
    // Nothing was lost: another capture takes it all.
    gDefinirFichierDonnees(donnees);
    capture = std::make_unique<Capture>(m_spool.folder());
    capture->setSeuilLot(1);
    EXPECT_EQ(capture->mCapturerMessage().lot.size(), 2);
    EXPECT_EQ(historique(), (QStringList {"20261120190500125=ALICE|hi", "20261120190500126=LUC|Half half"}));
    EXPECT_EQ(m_spool.count(), 0u);
}

TEST_F(CaptureTest, FiresDueRemindersWhetherCaptureIsOnOrNot)
{
    IniFile reglages(gFichierParametres());
    reglages.update([](IniDocument& doc) {
        doc.setValue(SectionRappel, "20261120080000", QString::fromUtf8("0|20261120|0800|Call¶Bob"));
        doc.setValue(SectionRappel, "20261120080001", "1|20261121|1000|Now");
        doc.setValue(SectionRappel, "20261120080002", "2|20261121|1001|Soon|1,6");
        doc.setValue(SectionRappel, "20261120080003", "broken");
    });
    gParametres().capturerMessage = false;
    ecrire(popup("ALICE", "hi"));
    Capture capture(m_spool.folder());

    auto r = capture.mCapturerMessage();
    EXPECT_FALSE(r.message);
    EXPECT_EQ(m_spool.count(), 1u);
    ASSERT_EQ(r.rappels.size(), 2);
    EXPECT_EQ(r.rappels[0].moment, "2026/11/20 08:00");
    EXPECT_EQ(r.rappels[0].texte, "Call\r\nBob");
    EXPECT_EQ(r.rappels[1].champs, (QStringList {"1", "20261121", "1000", "Now"}));
    EXPECT_EQ(reglages.readSection(QLatin1String(SectionRappel)),
              (QStringList {"20261120080002=2|20261121|1001|Soon|1,6", "20261120080003=broken"}));

    EXPECT_TRUE(capture.mCapturerMessage().rappels.isEmpty());
    // Time alone makes the third due, the file unchanged.
    setHorlogeEssai(Horloge.addSecs(60));
    r = capture.mCapturerMessage();
    ASSERT_EQ(r.rappels.size(), 1);
    EXPECT_EQ(r.rappels[0].champs.value(4), "1,6");
    // A reminder written meanwhile is seen at the next tick.
    reglages.writeString(QLatin1String(SectionRappel), "20261121100100", "0|20261121|0900|Late");
    r = capture.mCapturerMessage();
    ASSERT_EQ(r.rappels.size(), 1);
    EXPECT_EQ(r.rappels[0].texte, "Late");
    EXPECT_EQ(reglages.readSection(QLatin1String(SectionRappel)), QStringList {"20261120080003=broken"});
}
