#include "TestFiles.h"

#include "addressbook/CarnetAdresses.h"
#include "common/DataFile.h"
#include "common/NetworkProbes.h"
#include "common/Scrambling.h"
#include "common/TextCodec.h"
#include "engine/Envoi.h"
#include "engine/Placeholders.h"
#include "engine/Reponse.h"
#include "engine/Settings.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <numeric>

using namespace pv;

// Stations that answer the ping or not, and the transport's result for each part sent to a station.
struct Reseau
{
    std::mutex verrou;
    QSet<QString> absents;
    QHash<QString, QList<int>> codes;  // per part; missing: delivered
    QHash<QString, QString> raisons;   // the transport's account, with whatever code
    QStringList pings, envois, textes; // envois: station|sender|text
    std::atomic<int> actifs {0}, maxActifs {0};

    // Long enough for concurrent pings and sends to overlap.
    void occuper()
    {
        maxActifs = std::max(maxActifs.load(), ++actifs);
        QThread::msleep(5);
        --actifs;
    }

    FonctionPing ping()
    {
        return [this](const QString& station, QString* adresse, int delai) {
            EXPECT_EQ(delai, gParametres().delaiAttente);
            occuper();
            const std::lock_guard l(verrou);
            pings.append(station);
            *adresse = absents.contains(station) ? QString() : QStringLiteral("192.0.2.1");
            return !absents.contains(station);
        };
    }

    FonctionTransport transport()
    {
        return [this](const QString& station, const QString& expediteur, const QString& texte) {
            occuper();
            const std::lock_guard l(verrou);
            const auto partie = std::ranges::count_if(envois, [&](auto& e) { return e.startsWith(station + '|'); });
            envois.append(station + '|' + expediteur + '|' + texte);
            textes.append(texte);
            return IssueTransport(codes.value(station).value(partie, 0), raisons.value(station));
        };
    }
};

static DemandeEnvoi tape(const QString& stations, const QString& texte, bool crypter = false)
{
    return {texte, {DestinataireChoisi::Liste::Utilisateurs, -1, stations}, crypter};
}

static QStringList enregistrements()
{
    QStringList out;
    for (const EntreeHistorique& e : gLireHistorique(true)) {
        out.append(e.cle + ' ' + e.station + '|' + gEncoderTexte(e.texte));
    }
    return out;
}

class EnvoiTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("HOME", m_dir.path().toUtf8());
        const std::pair<QString, QByteArray> fichiers[] = {
            {"Pilvanor.pv", "[User]\nPC12=Desk %Date%|0\nPC13=%UserWorkstation% desk|0\n[Group]\nTeam=pc12, ,pc13\n"},
            {"smb.conf", "[global]\nworkgroup = work\n"}};
        for (const auto& [nom, contenu] : fichiers) {
            ASSERT_TRUE(test::writeFile(m_dir.filePath(nom), contenu));
        }
        qputenv("PILVANOR_SMB_CONF", m_dir.filePath("smb.conf").toLocal8Bit());
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
        gChargerUtilisateurGroupe();
        gParametres() = Parametres {};
        gParametres().fichierLangue = QStringLiteral(PV_SOURCE_DIR "/lang/pv.ENG");
        gParametres().expediteur = QStringLiteral("ME");
        // Not the defaults, so that a send reading a constant instead fails.
        gParametres().delaiAttente = 1234;
        gParametres().nbMessageMaxHistorique = 3;
        setHorlogeEssai(QDateTime(QDate(2004, 1, 2), QTime(3, 4, 5, 678)));
    }

    void TearDown() override
    {
        setHorlogeEssai({});
        qunsetenv("PILVANOR_SMB_CONF");
    }

    // Every signal as one line, in the order it came; the network's logs and the sent history hold this send only.
    QStringList envoyer(const DemandeEnvoi& demande, bool concurrents = true)
    {
        m_reseau.pings = m_reseau.envois = m_reseau.textes = {};
        m_reseau.maxActifs = 0;
        gSupprimerHistorique(true);
        EnvoiMessage envoi(m_reseau.transport(), m_reseau.ping());
        envoi.setStationsConcurrentes(concurrents);
        QStringList journal;
        QObject::connect(&envoi, &EnvoiMessage::debutGroupe, [&](const QString& l) { journal.append("debut " + l); });
        QObject::connect(&envoi, &EnvoiMessage::finGroupe, [&](const QString& l) { journal.append("fin " + l); });
        QObject::connect(&envoi, &EnvoiMessage::stationTerminee, [&](const ResultatStation& r) {
            journal.append(
                QStringLiteral("%1|%2|%3|%4|%5").arg(r.station, r.affichage).arg(r.code).arg(r.texte).arg(r.echec));
        });
        QObject::connect(&envoi, &EnvoiMessage::termine, [&](bool succes, bool groupe) {
            journal.append(QStringLiteral("termine %1 %2").arg(succes).arg(groupe));
        });
        envoi.envoyerMaintenant(demande);
        return journal;
    }

    QTemporaryDir m_dir;
    Reseau m_reseau;
};

TEST(Scrambling, RotatesTheMiddleOfWindows1252)
{
    const std::pair<QString, QString> cas[] = {
        {"0VW}Aa", "W}0Vh:"},
        {QString::fromUtf8("é¶~\t€ /"), QString::fromUtf8("é¶~\t€ /")},
        {QString::fromUtf8("Ā1"), "fX"},         // outside the code page: "?", which the rotation moves on
        {QString::fromUtf8("\U0001F600"), "ff"}, // each half of a pair
    };
    for (const auto& [clair, crypte] : cas) {
        EXPECT_EQ(gCrypterMessage(clair), crypte);
    }
    QByteArray tous(256, 0);
    std::iota(tous.begin(), tous.end(), char(0));
    EXPECT_EQ(gCrypterMessage(gCrypterMessage(decodeWindows1252(tous))), decodeWindows1252(tous));

    EXPECT_EQ(gTexteLisible("[PVEncrypt]iHGCHNK YWW[!"), "Bonjour 2004!");
    EXPECT_EQ(gTexteLisible("[pvencrypt]abc"), "[pvencrypt]abc");
}

TEST_F(EnvoiTest, ExpandsPlaceholdersInOrder)
{
    const QStringList v = QStringLiteral(PV_VERSION).split('.');
    const QString version = QStringLiteral("%1.%2 (build %3)").arg(v[0].toInt()).arg(v[1].toInt()).arg(v[2].toInt());
    const std::tuple<const char*, const char*, QString> cas[] = {
        {"pc12", "%userdescription%!", "Desk 2004/01/02!"},           // a description is expanded further
        {"PC13", "%UserDescription%", "%UserWorkstation% desk"},      // but not by an earlier step
        {"pc12", "%USERWORKSTATION% %UserWorkstation%", "pc12 pc12"}, // as handed over, every occurrence
        {"PC99", "%UserDescription%/%UserWorkstation%", "PC99/PC99"},
        {"PC12", "%Date%%Time%|%DateTime%|%Foo% 5% %", "2004/01/0203:04|2004/01/02 03:04|%Foo% 5% %"},
        {"PC12", "v%pvversion%", "v" + version},
        {"PC12", "%myipaddress%/%MyIPAddress%", gObtenirAdresseIP() + '/' + gObtenirAdresseIP()},
    };
    ASSERT_FALSE(gObtenirAdresseIP().isEmpty());
    for (const auto& [station, texte, attendu] : cas) {
        EXPECT_EQ(gRemplacerVariables(station, "192.0.2.9", texte), attendu);
    }
}

TEST_F(EnvoiTest, CutsLongTextsIntoNumberedParts)
{
    // Length; then the number of parts, 0 for one part without header.
    for (const auto& [longueur, parties] :
         {std::pair {879, 0}, {880, 1}, {881, 2}, {1760, 2}, {1761, 3}, {100000, 114}}) {
        const QString texte = QStringLiteral("abcdefghijklmnopqrstuvwxyz").repeated(3847).left(longueur);
        envoyer(tape("pc1", texte));
        QStringList attendu;
        for (int i = 0; i < parties; ++i) {
            attendu.append(QStringLiteral("[%1/%2]\r\n").arg(i + 1, 2, 10, QChar('0')).arg(parties, 2, 10, QChar('0'))
                           + texte.mid(880 * i, 880));
        }
        EXPECT_EQ(m_reseau.textes, parties ? attendu : QStringList {texte}) << longueur;
        EXPECT_EQ(enregistrements().size(), 1);
    }
}

// "*" goes as one datagram per part: From "ME", To "WORK*" and three NULs leave 414 of its 424 bytes.
TEST_F(EnvoiTest, DomainPartsEachFitADatagram)
{
    // Placeholders are expanded before the cut: each %Date% takes four characters more.
    const auto lignes
        = [](const char* ligne, int longueur) { return QString(ligne).repeated(longueur).left(longueur); };
    // Text, scrambled, parts.
    const std::tuple<QString, bool, int> cas[] = {
        {lignes("x", 414), false, 1},
        {lignes("x", 415), false, 2},
        {lignes("%Date% 0123456789 abcdefghijklmnopqrstuvwxyz\r\n", 2000), false, 6},
        {lignes("%Date% 0123456789 abcdefghijklmnopqrstuvwxyz\r\n", 2000), true, 6},
        {lignes("0123456789 abcdefghijklmnopqrstuvwxyz\r\n", 100000), false, 249},
    };
    for (const auto& [texte, crypter, nombre] : cas) {
        SCOPED_TRACE(testing::Message() << texte.size() << (crypter ? " scrambled" : ""));
        envoyer(tape("*", texte, crypter));
        ASSERT_EQ(m_reseau.textes.size(), nombre);
        QString recu;
        for (int i = 0; i < nombre; ++i) {
            const QString partie = gTexteLisible(m_reseau.textes[i]);
            EXPECT_LE(m_reseau.textes[i].size(), 414) << i;
            const QString entete
                = nombre == 1
                      ? QString()
                      : QStringLiteral("[%1/%2]\r\n").arg(i + 1, 2, 10, QChar('0')).arg(nombre, 2, 10, QChar('0'));
            ASSERT_TRUE(partie.startsWith(entete)) << i;
            recu += partie.mid(entete.size());
        }
        // Every character arrives, placeholders expanded; no CR LF is split between two parts.
        EXPECT_EQ(recu, gRemplacerVariables("WORK*", "", texte));
        EXPECT_FALSE(m_reseau.textes.join('|').contains("\r|") || m_reseau.textes.join('|').contains("|\n"));
    }
}

TEST_F(EnvoiTest, PlacesTheSignatureAndRecordsTheTypedText)
{
    const std::tuple<bool, const char*, const char*, const char*> cas[] = {
        {true, "> ", "Hi\r\n> quoted\r\n> more", "Hi\r\nSig\r\nLine\r\n\r\n> quoted\r\n> more"},
        {true, "> ", "Hello %Date%", "Hello 2004/01/02\r\n\r\nSig\r\nLine"},
        {true, ">>", "a > b >> c", "a > b Sig\r\nLine\r\n\r\n>> c"},
        {false, "> ", "Hi\r\n> q", "Hi\r\n> q"},
    };
    gParametres().signature = "Sig\r\nLine";
    for (const auto& [ajouter, prefixe, texte, envoye] : cas) {
        gParametres().ajouterSignature = ajouter;
        gParametres().caractereDevantReponseExpediteur = prefixe;
        envoyer(tape("pc1", texte));
        EXPECT_EQ(m_reseau.textes, QStringList {envoye});
        EXPECT_EQ(enregistrements(), QStringList {"20040102030405678 PC1|" + gEncoderTexte(texte)});
    }
}

TEST_F(EnvoiTest, ScramblesWhatItSendsAndRecords)
{
    envoyer(tape("pc1", "Bonjour 2004!\r\n%UserWorkstation%", true));
    EXPECT_EQ(m_reseau.envois, QStringList {"PC1|ME|[PVEncrypt]iHGCHNK YWW[!\r\nwjX"});
    EXPECT_EQ(enregistrements(),
              QStringList {QString::fromUtf8("20040102030405678 PC1|[PVEncrypt]iHGCHNK YWW[!¶%|L>K0HKDLM:MBHG%")});
}

// "*" is the primary domain (WORK here), sent to without a ping.
TEST_F(EnvoiTest, MapsEveryResultCode)
{
    const std::pair<int, const char*> cas[] = {
        {0, "Message sent successfully (2004-01-02 03:04:05)"},
        {5, "Access to computer denied."},
        {50, "Network request not supported."},
        {53, "The domain WORK cannot be found."},
        {87, "Invalid parameter(s) specified."},
        {123, "Illegal character or malformed name."},
        {2136, "General network error occurred."},
        {2250, "Network connection not found."},
        {2273, "The station WORK* cannot be found or does not answer."},
        {2102, "Unknown error executing command."},
    };
    for (const auto& [code, texte] : cas) {
        m_reseau.codes["WORK*"] = {code};
        EXPECT_EQ(envoyer(tape("*", "x")),
                  QStringList({QStringLiteral("WORK*|WORK*|%1|%2|%3").arg(code).arg(texte).arg(code != 0),
                               QStringLiteral("termine %1 0").arg(code == 0)}));
        EXPECT_TRUE(m_reseau.pings.isEmpty());
        EXPECT_EQ(enregistrements().size(), code == 0 ? 1 : 0) << code;
    }
}

// A code stands for many causes: the transport's account follows the text, in the chosen language.
TEST_F(EnvoiTest, FailureKeepsTheTransportsReason)
{
    const std::tuple<int, const char*, const char*> cas[] = {
        {2273, "pv.ENG", "The station PC1 cannot be found or does not answer. Cause: connect: refused."},
        {2136, "pv.ENG", "General network error occurred. Cause: connect: refused."},
        {2273, "pv.FRA", "La station PC1 est introuvable ou ne répond pas. Cause : connect: refused."},
        {0, "pv.ENG", "Message sent successfully (2004-01-02 03:04:05)"},
    };
    m_reseau.raisons["PC1"] = "connect: refused";
    for (const auto& [code, langue, texte] : cas) {
        gParametres().fichierLangue = QStringLiteral(PV_SOURCE_DIR "/lang/") + langue;
        m_reseau.codes["PC1"] = {code};
        EXPECT_EQ(envoyer(tape("pc1", "x")).value(0),
                  QStringLiteral("PC1|PC1|%1|%2|%3").arg(code).arg(QString::fromUtf8(texte)).arg(code != 0));
    }
}

TEST_F(EnvoiTest, FailureAtSecondPartLeavesNoRecord)
{
    m_reseau.codes["PC1"] = {0, 2136, 0};
    EXPECT_EQ(envoyer(tape("pc1", QString(1761, 'x'))),
              QStringList({"PC1|PC1|2136|General network error occurred.|1", "termine 0 0"}));
    EXPECT_EQ(m_reseau.envois.size(), 2);
    EXPECT_TRUE(enregistrements().isEmpty());
}

TEST_F(EnvoiTest, PingRules)
{
    // PingStationAvantEnvoi, PC1 absent, stations, scrambled, text; stations pinged, texts sent (unscrambled),
    // both sorted: the stations go concurrently.
    const std::tuple<bool, bool, const char*, bool, const char*, const char*, const char*> cas[] = {
        {false, true, " pc1 ", false, "ip=%useripaddress%", "PC1", "ip="}, // outcome ignored, address unknown
        {false, false, "pc1", false, "ip=%UserIPAddress%", "PC1", "ip=192.0.2.1"},
        {false, true, "pc1", false, "plain", "", "plain"},
        {true, true, "pc1", false, "plain", "PC1", ""},
        {false, false, "pc1,pc2", false, "ip=%UserIPAddress%", "PC1,PC2", "ip=192.0.2.1,ip=192.0.2.1"},
        // The test is made on what was stored for the last station: scrambled, it hides the placeholder.
        {false, false, "pc1,pc2", true, "ip=%UserIPAddress%", "PC1", "ip=,ip=192.0.2.1"},
    };
    for (const auto& [pingAvantEnvoi, absent, stations, crypter, texte, pings, envoyes] : cas) {
        SCOPED_TRACE(testing::Message() << stations << ' ' << texte << ' ' << crypter);
        m_reseau.absents = absent ? QSet<QString> {"PC1"} : QSet<QString> {};
        gParametres().pingStationAvantEnvoi = pingAvantEnvoi;
        const QStringList journal = envoyer(tape(stations, texte, crypter));
        QStringList textes;
        for (const QString& t : m_reseau.textes) {
            textes.append(gTexteLisible(t));
        }
        m_reseau.pings.sort();
        textes.sort();
        EXPECT_EQ(m_reseau.pings.join(','), pings);
        EXPECT_EQ(textes.join(','), envoyes);
        EXPECT_EQ(journal.value(0).endsWith("|1"), !*envoyes);
    }
}

TEST_F(EnvoiTest, SeveralStationsReportAsAGroup)
{
    EXPECT_EQ(envoyer(tape("pc1, ,pc2,", "hi")),
              QStringList({"debut Sending started (2004-01-02 03:04:05)",
                           "PC1|PC1|0|Message sent successfully|0",
                           "PC2|PC2|0|Message sent successfully|0",
                           "fin Sending finished (2004-01-02 03:04:05)",
                           "termine 1 1"}));
    EXPECT_EQ(enregistrements(), QStringList({"20040102030405678 PC1|hi", "20040102030405679 PC2|hi"}));
    // The history keeps the newest NbMessageMaxHistorique records.
    envoyer(tape("pc1,pc2,pc3,pc4,pc5", "hi"));
    EXPECT_EQ(enregistrements(),
              QStringList({"20040102030405680 PC3|hi", "20040102030405681 PC4|hi", "20040102030405682 PC5|hi"}));

    // A chosen group takes its members as stored; a chosen user its record's station.
    gParametres().afficherStationAvecNomIP = true;
    m_reseau.absents = {"pc13"};
    EXPECT_EQ(envoyer({"hi", {DestinataireChoisi::Liste::Groupes, 0, "Team"}, false}).mid(1, 2),
              QStringList({"pc12|Desk %Date% (pc12)|0|Message sent successfully|0",
                           "pc13|%UserWorkstation% desk (pc13)|-1|The station pc13 cannot be found or does not "
                           "answer.|1"}));
    EXPECT_EQ(envoyer({"hi", {DestinataireChoisi::Liste::Utilisateurs, 0, "pc12 (Desk %Date%)"}, false}).value(0),
              "PC12|Desk %Date% (PC12)|0|Message sent successfully (2004-01-02 03:04:05)|0");
}

TEST_F(EnvoiTest, ConcurrentStationsChangeNothingObservable)
{
    // Some do not answer, some fail at their second part; WORK* is not pinged.
    m_reseau.absents = {"PC3", "PC10"};
    m_reseau.codes = {{"PC1", {0, 2273}}, {"PC6", {0, 5}}};
    const QString stations = "pc0,pc1,pc2,pc3,pc4,WORK*,pc5,pc6,pc7,pc8,pc9,pc10,pc11";
    // With the ping off, the sends alone overlap; a scrambled placeholder needs the stations one after the other.
    for (const auto& [pingAvantEnvoi, crypter] : {std::pair {true, false}, {false, false}, {false, true}}) {
        SCOPED_TRACE(testing::Message() << pingAvantEnvoi << crypter);
        gParametres().pingStationAvantEnvoi = pingAvantEnvoi;
        const DemandeEnvoi demande = tape(stations, QString(900, 'y') + "%UserIPAddress%", crypter);
        QList<QStringList> resultats;
        for (const bool concurrents : {false, true}) {
            const QStringList journal = envoyer(demande, concurrents); // before reading what it left
            QStringList envois = m_reseau.envois; // each station's parts in order, the stations in any
            std::stable_sort(envois.begin(), envois.end(), [](auto& a, auto& b) {
                return a.section('|', 0, 0) < b.section('|', 0, 0);
            });
            resultats.append(journal + envois + enregistrements());
            EXPECT_EQ(m_reseau.maxActifs > 1, concurrents && !crypter);
        }
        EXPECT_EQ(resultats[0].indexOf("termine 0 1"), 15);
        EXPECT_EQ(resultats[0], resultats[1]);
    }
}

TEST_F(EnvoiTest, AnInvalidSenderNameIsSaidPlainly)
{
    for (const char* expediteur : {"ABCDEFGHIJKLMNOP", "A*B"}) {
        gParametres().expediteur = expediteur;
        const QString texte
            = QStringLiteral("|87|The sender name %1 cannot be a station name: it may hold 15 characters "
                             "at most, none of them \\ / : * ? \" < > |. Change it in the preferences.|1")
                  .arg(expediteur);
        EXPECT_EQ(envoyer(tape("pc1,*", "hi")).mid(1, 2), QStringList({"PC1|PC1" + texte, "WORK*|WORK*" + texte}));
        EXPECT_TRUE(m_reseau.envois.isEmpty());
    }
    gParametres().expediteur = "ABCDEFGHIJKLMNO";
    EXPECT_EQ(envoyer(tape("pc1", "hi")).value(0).section('|', 2, 2), "0");
}

// Station as shown, text, quoted, prefix: the station and text the message box gets, whether a user was added.
TEST_F(EnvoiTest, ARepliesQuotesAndKeepsANewSender)
{
    const std::tuple<const char*, const char*, bool, const char*, const char*, const char*, bool> cas[] = {
        {"pc7 (Seventh)", "a\r\nb", true, "| ", "PC7", "\n\n| a\n| b", true},
        {" pc12 (Desk)", "a\r\n\r\nb", true, "", "PC12", "\n\na\n\nb", false}, // a user already
        {"PC7", "a\r\nb", false, "| ", "PC7", "a\nb", true},                   // a resend: as it was
        {"PC7", "", true, "| ", "PC7", "", true},                              // nothing to quote
        {"#pc8", "x", true, ">", "#PC8", "\n\n>x", false}, // answered, never kept: a comment to the data file
    };
    for (const auto& [station, texte, citer, prefixe, pour, compose, ajoute] : cas) {
        gSupprimerUtilisateur(QStringLiteral("PC7"));
        gChargerUtilisateurGroupe();
        const qsizetype avant = gUtilisateurs().size();
        const Reponse r = gPreparerReponse(station, texte, citer, prefixe);
        EXPECT_EQ(r.station, pour) << station;
        EXPECT_EQ(r.texte, compose) << station;
        EXPECT_FALSE(r.echecEcriture);
        // The tables follow at once; a new sender is described by its name.
        EXPECT_EQ(gUtilisateurs().size(), avant + int(ajoute)) << station;
        const auto u
            = std::ranges::find_if(gUtilisateurs(), [&r](const Utilisateur& u) { return u.station == r.station; });
        EXPECT_TRUE(!ajoute || (u != gUtilisateurs().end() && u->description == pour)) << station;
    }
}
