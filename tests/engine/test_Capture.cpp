#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/Scrambling.h"
#include "engine/Capture.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

// Defined with the send tests: readable QStrings in failures.
void PrintTo(const QString& s, std::ostream* os);

namespace {

const QString Titre = QStringLiteral("Messenger Service ");
const QString TitreFr = QStringLiteral("Service Affichage des messages ");
const QString ModeleFr = QString::fromUtf8("Message de #EXPEDITEUR# à #DESTINATAIRE# le #DATE#");
const QDateTime Horloge(QDate(2026, 11, 21), QTime(10, 0, 5, 250));

QString popupTexte(const QString& entete, const QString& corps)
{
    return entete + QStringLiteral("\r\n\r\n") + corps;
}

class CaptureTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        QFile f(m_dir.filePath("Pilvanor.pv"));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("[User]\nALICE=Alice [desk]|0\nMALLORY=Mallory|1\n");
        f.close();
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
        gDefinirFichierParametres(m_dir.filePath("settings.ini"));
        gChargerUtilisateurGroupe();
        gParametres() = Parametres {};
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

    void ecrire(const QString& de, const QString& texte, const QString& titre = Titre)
    {
        Popup p {titre, texte, de, QStringLiteral("BOB"), QStringLiteral("10.0.0.7"), Horloge, {}};
        ASSERT_TRUE(m_spool.write(p));
    }

    QStringList historique() const
    {
        return IniFile(gFichierDonnees()).readSection(QLatin1String(SectionMessageRecu), IniFile::HistoryLimit);
    }

    QTemporaryDir m_dir;
    PopupSpool m_spool {m_dir.filePath("popups")};
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
        EXPECT_EQ(h.expediteur, c.expediteur) << c.entete.toStdString();
        EXPECT_EQ(h.destinataire, c.destinataire) << c.entete.toStdString();
        EXPECT_EQ(h.date, c.date) << c.entete.toStdString();
    }
}

TEST_F(CaptureTest, StoresOneMessagePerTick)
{
    struct Cas
    {
        const char* nom;
        QString titre, modele, texte;
        QString expediteur, description, lisible;
        bool crypte;
        QString stocke;
    };
    const QString Modele = Parametres {}.enteteFenetreMessenger;
    const Cas cas[] = {
        {"english",
         Titre,
         Modele,
         popupTexte("Message from ALICE to BOB on 21/11/2026 10:00:01", "Hello\r\nBob"),
         "ALICE",
         "Alice [desk]",
         "Hello\r\nBob",
         false,
         QString::fromUtf8("ALICE|Hello¶Bob")},
        {"french",
         TitreFr,
         ModeleFr,
         popupTexte(QString::fromUtf8("Message de PC9 à BOB le 21/11/2026 10:00:01"), "Salut"),
         "PC9",
         "PC9",
         "Salut",
         false,
         "PC9|Salut"},
        {"scrambled",
         Titre,
         Modele,
         popupTexte("Message from ALICE to BOB on 21/11/2026 10:00:01", gTexteCrypte("Secret 42\r\nok")),
         "ALICE",
         "Alice [desk]",
         "Secret 42\r\nok",
         true,
         QStringLiteral("ALICE|") + gEncoderTexte(gTexteCrypte("Secret 42\r\nok"))},
        {"hand-broken header", Titre, Modele, popupTexte("Hi", "body"), "", "", "body", false, "|body"},
        {"no empty line",
         Titre,
         Modele,
         "Message from ALICE to BOB on x",
         "ALICE",
         "Alice [desk]",
         "",
         false,
         "ALICE|"},
    };
    for (const Cas& c : cas) {
        SCOPED_TRACE(c.nom);
        IniFile(gFichierDonnees()).removeSection(QLatin1String(SectionMessageRecu));
        gParametres().titreFenetreMessenger = c.titre;
        gParametres().enteteFenetreMessenger = c.modele;
        ecrire(c.expediteur, c.texte, c.titre);
        Capture capture(m_spool.folder());
        const ResultatCapture r = capture.mCapturerMessage();
        ASSERT_TRUE(r.message);
        EXPECT_EQ(r.message->expediteur, c.expediteur);
        EXPECT_EQ(r.message->description, c.description);
        EXPECT_EQ(r.message->texte, c.lisible);
        EXPECT_EQ(r.message->crypte, c.crypte);
        EXPECT_EQ(r.message->adresse, "10.0.0.7");
        EXPECT_EQ(r.message->cleHistorique, "20261121100005250");
        EXPECT_EQ(historique(), QStringList {"20261121100005250=" + c.stocke});
        EXPECT_EQ(m_spool.count(), 0);
    }
    EXPECT_TRUE(m_boites.isEmpty()) << m_boites.join('\n').toStdString();
}

TEST_F(CaptureTest, TakesTwoPopupsOnTwoTicksAndLeavesOtherTitles)
{
    ecrire("X", popupTexte("Message from X to BOB on d", "not ours"), QStringLiteral("Messenger Service"));
    ecrire("ALICE", popupTexte("Message from ALICE to BOB on d", "first"));
    ecrire("PC9", popupTexte("Message from PC9 to BOB on d", "second"));
    Capture capture(m_spool.folder());
    QStringList pris;
    for (int tick = 0; tick < 4; ++tick) {
        if (const auto r = capture.mCapturerMessage(); r.message) {
            pris.append(r.message->texte);
        }
    }
    EXPECT_EQ(pris, (QStringList {"first", "second"}));
    // The same clock for both: the second key moves on by a millisecond rather than replace the first.
    EXPECT_EQ(historique(), (QStringList {"20261121100005250=ALICE|first", "20261121100005251=PC9|second"}));
    ASSERT_EQ(m_spool.count(), 1);
    EXPECT_EQ(m_spool.all().first().title, "Messenger Service");
}

TEST_F(CaptureTest, JoinsPartsAndStoresThemOnceWhenTheLastArrives)
{
    struct Cas
    {
        const char* nom;
        bool crypte;
        bool redemarrer; // a new capture (a restart) after the second part
    };
    for (const Cas& c : {Cas {"plain", false, false}, Cas {"scrambled", true, false}, Cas {"restart", false, true}}) {
        SCOPED_TRACE(c.nom);
        IniFile(gFichierDonnees()).removeSection(QLatin1String(SectionMessageRecu));
        for (int i = 1; i <= 3; ++i) {
            const QString corps = QStringLiteral("[%1/03]\r\npart %2;").arg(i, 2, 10, QLatin1Char('0')).arg(i);
            ecrire("ALICE", popupTexte("Message from ALICE to BOB on d", c.crypte ? gTexteCrypte(corps) : corps));
        }
        auto capture = std::make_unique<Capture>(m_spool.folder());
        for (int i = 1; i <= 2; ++i) {
            EXPECT_FALSE(capture->mCapturerMessage().message);
            EXPECT_EQ(m_spool.count(), 3) << "parts stay in the spool until stored";
            EXPECT_TRUE(historique().isEmpty());
        }
        if (c.redemarrer) {
            capture = std::make_unique<Capture>(m_spool.folder());
            EXPECT_FALSE(capture->mCapturerMessage().message);
            EXPECT_FALSE(capture->mCapturerMessage().message);
        }
        const auto r = capture->mCapturerMessage();
        ASSERT_TRUE(r.message);
        EXPECT_EQ(r.message->texte, "part 1;part 2;part 3;");
        EXPECT_EQ(r.message->crypte, c.crypte);
        const QString stocke = c.crypte ? gTexteCrypte("part 1;part 2;part 3;") : "part 1;part 2;part 3;";
        EXPECT_EQ(historique(), QStringList {"20261121100005250=ALICE|" + stocke});
        EXPECT_EQ(m_spool.count(), 0);
        EXPECT_TRUE(capture->partiesEnAttente().isEmpty());
        EXPECT_FALSE(capture->mCapturerMessage().message);
    }
}

TEST_F(CaptureTest, DropsIgnoredSenders)
{
    ecrire("MALLORY", popupTexte("Message from mallory to BOB on d", "spam"));
    ecrire("ALICE", popupTexte("Message from ALICE to BOB on d", "hi"));
    Capture capture(m_spool.folder());
    EXPECT_FALSE(capture.mCapturerMessage().message);
    EXPECT_EQ(m_spool.count(), 1);
    EXPECT_TRUE(historique().isEmpty());
    const auto r = capture.mCapturerMessage();
    ASSERT_TRUE(r.message);
    EXPECT_EQ(r.message->texte, "hi");
    EXPECT_EQ(historique().size(), 1);
}

TEST_F(CaptureTest, OnlyRemovesAPopupStoredBeforeACrash)
{
    ecrire("ALICE", popupTexte("Message from ALICE to BOB on d", "hi"));
    const QString id = m_spool.all().first().id;
    IniFile(gFichierDonnees()).writeString(QLatin1String(SectionPopupCapture), id, "20261121095959000");
    Capture capture(m_spool.folder());
    EXPECT_FALSE(capture.mCapturerMessage().message);
    EXPECT_EQ(m_spool.count(), 0);
    EXPECT_TRUE(historique().isEmpty());
}

TEST_F(CaptureTest, KeepsThePopupWhenTheStoreFails)
{
    ecrire("ALICE", popupTexte("Message from ALICE to BOB on d", "hi"));
    // A folder where the data file should be: the write must fail.
    ASSERT_TRUE(QDir().mkpath(m_dir.filePath("blocked/Pilvanor.pv")));
    gDefinirFichierDonnees(m_dir.filePath("blocked/Pilvanor.pv"));
    Capture capture(m_spool.folder());
    EXPECT_FALSE(capture.mCapturerMessage().message);
    EXPECT_FALSE(capture.mCapturerMessage().message);
    ASSERT_EQ(m_boites.size(), 1) << "one report, then a pause before trying again";
    EXPECT_TRUE(m_boites.first().contains("frmPilvanor.mCapturerMessage"));
    EXPECT_EQ(m_spool.count(), 1);
}

TEST_F(CaptureTest, FiresDueRemindersWhetherCaptureIsOnOrNot)
{
    IniFile reglages(gFichierParametres());
    reglages.update([](IniDocument& doc) {
        const QString rappel = QLatin1String(SectionRappel);
        doc.setValue(rappel, "20261120080000", QString::fromUtf8("0|20261120|0800|Call¶Bob"));
        doc.setValue(rappel, "20261120080001", "1|20261121|1000|Now");
        doc.setValue(rappel, "20261120080002", "2|20261121|1001|Soon|1,6");
        doc.setValue(rappel, "20261120080003", "broken");
    });
    gParametres().capturerMessage = false;
    ecrire("ALICE", popupTexte("Message from ALICE to BOB on d", "hi"));
    Capture capture(m_spool.folder());

    auto r = capture.mCapturerMessage();
    EXPECT_FALSE(r.message);
    EXPECT_EQ(m_spool.count(), 1);
    ASSERT_EQ(r.rappels.size(), 2);
    EXPECT_EQ(r.rappels[0].cle, "20261120080000");
    EXPECT_EQ(r.rappels[0].moment, "2026/11/20 08:00");
    EXPECT_EQ(r.rappels[0].texte, "Call\r\nBob");
    EXPECT_EQ(r.rappels[1].moment, "2026/11/21 10:00");
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
