#include "common/DataFile.h"
#include "common/Scrambling.h"
#include "common/TextCodec.h"
#include "engine/Envoi.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

using namespace pv;

// Readable failures: gtest would print a QString as raw bytes.
void PrintTo(const QString& s, std::ostream* os)
{
    *os << '"' << s.toStdString() << '"';
}

namespace {

const QDateTime Horloge(QDate(2004, 1, 2), QTime(3, 4, 5, 678));

// Stations that answer the ping or not, and the transport's result for each part sent to a station.
struct Reseau
{
    std::mutex verrou;
    QSet<QString> absents;
    QHash<QString, QList<int>> codes; // per part; missing: delivered
    QStringList pings;
    QStringList envois; // station|sender|text
    QStringList textes;
    QHash<QString, int> parties;
    int dureePingMs = 0;
    std::atomic<int> actifs {0};
    std::atomic<int> maxActifs {0};

    void vider()
    {
        pings.clear();
        envois.clear();
        textes.clear();
        parties.clear();
    }

    FonctionPing ping()
    {
        return [this](const QString& station, QString* adresse, int delai) {
            EXPECT_EQ(delai, gParametres().delaiAttente);
            maxActifs = std::max(maxActifs.load(), ++actifs);
            QThread::msleep(ulong(dureePingMs));
            --actifs;
            const std::lock_guard l(verrou);
            pings.append(station);
            *adresse = absents.contains(station) ? QString() : QStringLiteral("192.0.2.1");
            return !absents.contains(station);
        };
    }

    FonctionTransport transport()
    {
        return [this](const QString& station, const QString& expediteur, const QString& texte) {
            const std::lock_guard l(verrou);
            envois.append(station + '|' + expediteur + '|' + texte);
            textes.append(texte);
            return codes.value(station).value(parties[station]++, 0);
        };
    }
};

DemandeEnvoi tape(const QString& stations, const QString& texte, bool crypter = false)
{
    return {texte, {DestinataireChoisi::Liste::Utilisateurs, -1, stations}, crypter};
}

// Every signal as one line, in the order it came.
void journaliser(EnvoiMessage& envoi, QStringList& journal)
{
    QObject::connect(&envoi, &EnvoiMessage::debutGroupe, [&](const QString& l) { journal.append("debut " + l); });
    QObject::connect(&envoi, &EnvoiMessage::finGroupe, [&](const QString& l) { journal.append("fin " + l); });
    QObject::connect(&envoi, &EnvoiMessage::stationTerminee, [&](const ResultatStation& r) {
        journal.append(
            QStringLiteral("%1|%2|%3|%4|%5").arg(r.station, r.affichage).arg(r.code).arg(r.texte).arg(r.echec));
    });
    QObject::connect(&envoi, &EnvoiMessage::termine, [&](bool succes, bool groupe) {
        journal.append(QStringLiteral("termine %1 %2").arg(succes).arg(groupe));
    });
}

QStringList enregistrements()
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
        ASSERT_TRUE(m_dir.isValid());
        qputenv("HOME", m_dir.path().toUtf8());
        const std::pair<QString, QByteArray> fichiers[] = {
            {"Pilvanor.pv", "[User]\nPC12=Desk %Date%|0\nPC13=%UserWorkstation% desk|0\n[Group]\nTeam=pc12, ,pc13\n"},
            {"smb.conf", "[global]\nworkgroup = work\n"}};
        for (const auto& [nom, contenu] : fichiers) {
            QFile f(m_dir.filePath(nom));
            ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.write(contenu) == contenu.size());
        }
        qputenv("PILVANOR_SMB_CONF", m_dir.filePath("smb.conf").toLocal8Bit());
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
        gChargerUtilisateurGroupe();
        gParametres() = Parametres {};
        gParametres().fichierLangue = QStringLiteral(PV_SOURCE_DIR "/lang/pv.ENG");
        gParametres().expediteur = QStringLiteral("ME");
        setHorlogeEssai(Horloge);
    }

    void TearDown() override
    {
        setHorlogeEssai({});
        qunsetenv("PILVANOR_SMB_CONF");
    }

    QStringList envoyer(const DemandeEnvoi& demande, bool concurrents = true)
    {
        EnvoiMessage envoi(m_reseau.transport(), m_reseau.ping());
        envoi.setPingsConcurrents(concurrents);
        QStringList journal;
        journaliser(envoi, journal);
        envoi.envoyerMaintenant(demande);
        return journal;
    }

    QTemporaryDir m_dir;
    Reseau m_reseau;
};

TEST(Scrambling, RotatesTheMiddleOfWindows1252)
{
    const std::pair<QString, QString> cas[] = {
        {"Bonjour 2004!", "iHGCHNK YWW[!"},
        {"", ""},
        {"0VW}Aa", "W}0Vh:"},
        {QString::fromUtf8("é¶~\t€ /"), QString::fromUtf8("é¶~\t€ /")},
        {QString::fromUtf8("Ā1"), "fX"},         // outside the code page: "?", which the rotation moves on
        {QString::fromUtf8("\U0001F600"), "ff"}, // each half of a pair
    };
    for (const auto& [clair, crypte] : cas) {
        EXPECT_EQ(gCrypterMessage(clair), crypte);
    }
    EXPECT_EQ(gCrypterMessage("fX"), "?1");
    QByteArray tous(256, 0);
    for (int b = 0; b < 256; ++b) {
        tous[b] = char(b);
    }
    const QString page = decodeWindows1252(tous);
    EXPECT_NE(gCrypterMessage(page), page);
    EXPECT_EQ(gCrypterMessage(gCrypterMessage(page)), page);

    EXPECT_EQ(gTexteLisible("[PVEncrypt]iHGCHNK YWW[!"), "Bonjour 2004!");
    EXPECT_EQ(gTexteLisible("[pvencrypt]abc"), "[pvencrypt]abc");
    EXPECT_TRUE(gEstCrypte("[PVEncrypt]"));
}

TEST_F(EnvoiTest, ExpandsPlaceholdersInOrder)
{
    const QStringList v = QStringLiteral(PV_VERSION).split('.');
    const QString version = QStringLiteral("%1.%2 (build %3)").arg(v[0].toInt()).arg(v[1].toInt()).arg(v[2].toInt());
    const std::tuple<const char*, const char*, QString> cas[] = {
        {"PC12", "no placeholder 50", "no placeholder 50"},
        {"pc12", "%userdescription%!", "Desk 2004/01/02!"},           // a description is expanded further
        {"PC13", "%UserDescription%", "%UserWorkstation% desk"},      // but not by an earlier step
        {"pc12", "%USERWORKSTATION% %UserWorkstation%", "pc12 pc12"}, // as handed over, every occurrence
        {"PC99", "%UserDescription%/%UserWorkstation%", "PC99/PC99"},
        {"PC12", "%Date%%Time%|%DateTime%", "2004/01/0203:04|2004/01/02 03:04"},
        {"PC12", "%UserIPAddress%;%useripaddress%", "192.0.2.9;192.0.2.9"},
        {"PC12", "%Foo% 5% %", "%Foo% 5% %"},
        {"PC12", "v%pvversion%", "v" + version},
    };
    for (const auto& [station, texte, attendu] : cas) {
        EXPECT_EQ(gRemplacerVariables(station, "192.0.2.9", texte), attendu);
    }
}

TEST_F(EnvoiTest, CutsLongTextsIntoNumberedParts)
{
    // Length; then the number of parts, 0 for one part without header.
    for (const auto& [longueur, parties] : {std::pair {879, 0}, {880, 1}, {881, 2}, {1760, 2}, {1761, 3}}) {
        m_reseau.vider();
        QString texte;
        for (int i = 0; i < longueur; ++i) {
            texte.append(QChar('a' + i % 26));
        }
        envoyer(tape("pc1", texte));
        QStringList attendu;
        for (int i = 0; i < parties; ++i) {
            attendu.append(QStringLiteral("[%1/%2]\r\n").arg(i + 1, 2, 10, QChar('0')).arg(parties, 2, 10, QChar('0'))
                           + texte.mid(880 * i, 880));
        }
        EXPECT_EQ(m_reseau.textes, parties ? attendu : QStringList {texte}) << longueur;
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
        gSupprimerHistorique(true);
        m_reseau.vider();
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
    EXPECT_EQ(m_reseau.textes, QStringList {"[PVEncrypt]iHGCHNK YWW[!\r\nwjX"});
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
        gSupprimerHistorique(true);
        m_reseau.vider();
        m_reseau.codes["WORK*"] = {code};
        EXPECT_EQ(envoyer(tape("*", "x")),
                  QStringList({QStringLiteral("WORK*|WORK*|%1|%2|%3").arg(code).arg(texte).arg(code != 0),
                               QStringLiteral("termine %1 0").arg(code == 0)}));
        EXPECT_TRUE(m_reseau.pings.isEmpty());
        EXPECT_EQ(enregistrements().size(), code == 0 ? 1 : 0) << code;
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
    // PingStationAvantEnvoi, station absent, text, pings made, text sent (nullptr: none).
    const std::tuple<bool, bool, const char*, int, const char*> cas[] = {
        {false, true, "ip=%useripaddress%", 1, "ip="}, // outcome ignored, address unknown
        {false, false, "ip=%UserIPAddress%", 1, "ip=192.0.2.1"},
        {false, true, "plain", 0, "plain"},
        {true, false, "plain", 1, "plain"},
        {true, true, "plain", 1, nullptr},
    };
    for (const auto& [pingAvantEnvoi, absent, texte, pings, envoye] : cas) {
        m_reseau.vider();
        m_reseau.absents = absent ? QSet<QString> {"PC1"} : QSet<QString> {};
        gParametres().pingStationAvantEnvoi = pingAvantEnvoi;
        const QStringList journal = envoyer(tape(" pc1 ", texte));
        EXPECT_EQ(m_reseau.pings.size(), pings) << texte;
        EXPECT_EQ(m_reseau.textes, envoye ? QStringList {envoye} : QStringList {}) << texte;
        if (!envoye) {
            EXPECT_EQ(journal.value(0), "PC1|PC1|-1|The station PC1 cannot be found or does not answer.|1");
        }
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

    // A chosen group takes its members as stored; a chosen user its record's station.
    gParametres().afficherStationAvecNomIP = true;
    m_reseau.absents = {"pc13"};
    const QStringList groupe = envoyer({"hi", {DestinataireChoisi::Liste::Groupes, 0, "Team"}, false});
    EXPECT_EQ(groupe.mid(1, 2),
              QStringList({"pc12|Desk %Date% (pc12)|0|Message sent successfully|0",
                           "pc13|%UserWorkstation% desk (pc13)|-1|The station pc13 cannot be found or does not "
                           "answer.|1"}));
    EXPECT_EQ(groupe.last(), "termine 0 1");
    EXPECT_EQ(envoyer({"hi", {DestinataireChoisi::Liste::Utilisateurs, 0, "pc12 (Desk %Date%)"}, false}).value(0),
              "PC12|Desk %Date% (PC12)|0|Message sent successfully (2004-01-02 03:04:05)|0");
}

// The working text holds the scrambled record after the first station: later ones are not pinged for the address.
TEST_F(EnvoiTest, ScrambledRecordHidesTheAddressFromLaterStations)
{
    gParametres().pingStationAvantEnvoi = false;
    for (const bool concurrents : {false, true}) {
        m_reseau.vider();
        envoyer(tape("pc1,pc2", "%UserIPAddress%", true), concurrents);
        EXPECT_EQ(m_reseau.textes, QStringList({gTexteCrypte("192.0.2.1"), gTexteCrypte("")}));
        if (!concurrents) {
            EXPECT_EQ(m_reseau.pings, QStringList {"PC1"});
        }
    }
}

TEST_F(EnvoiTest, ConcurrentPingsChangeNothingObservable)
{
    QStringList stations;
    for (int i = 0; i < 40; ++i) {
        stations.append(QStringLiteral("pc%1").arg(i));
        if (i % 7 == 3) {
            m_reseau.absents.insert(QStringLiteral("PC%1").arg(i));
        }
        if (i % 5 == 1) {
            m_reseau.codes[QStringLiteral("PC%1").arg(i)] = {0, i % 2 ? 2273 : 5};
        }
    }
    stations.insert(10, "WORK*");
    m_reseau.dureePingMs = 5;
    const DemandeEnvoi demande = tape(stations.join(','), QString(900, 'y') + "%UserIPAddress%");
    QList<QStringList> resultats;
    for (const bool concurrents : {false, true}) {
        gSupprimerHistorique(true);
        m_reseau.vider();
        m_reseau.maxActifs = 0;
        resultats.append(envoyer(demande, concurrents) + m_reseau.envois + enregistrements());
        EXPECT_EQ(m_reseau.maxActifs > 1, concurrents);
    }
    EXPECT_EQ(resultats[0].indexOf("termine 0 1"), stations.size() + 2);
    EXPECT_EQ(resultats[0], resultats[1]);
}

TEST_F(EnvoiTest, BackgroundSendReportsOnTheObjectsThread)
{
    int argc = 1;
    char nom[] = "test_Envoi";
    char* argv[] = {nom};
    QCoreApplication app(argc, argv);
    EnvoiMessage envoi(m_reseau.transport(), m_reseau.ping());
    QStringList journal;
    journaliser(envoi, journal);
    bool surLeFil = true;
    QObject::connect(
        &envoi, &EnvoiMessage::stationTerminee, [&] { surLeFil &= QThread::currentThread() == app.thread(); });
    QEventLoop boucle;
    QObject::connect(&envoi, &EnvoiMessage::termine, &boucle, &QEventLoop::quit);
    QTimer::singleShot(10000, &boucle, &QEventLoop::quit);

    ASSERT_TRUE(envoi.mEnvoyerMessage(tape("pc1,pc2", "hi")));
    EXPECT_FALSE(envoi.mEnvoyerMessage(tape("pc3", "hi")));
    gParametres().expediteur = "LATER"; // the send took its copy
    boucle.exec();
    EXPECT_FALSE(envoi.enCours());
    EXPECT_TRUE(surLeFil);
    EXPECT_EQ(journal.size(), 5);
    EXPECT_EQ(journal.last(), "termine 1 1");
    EXPECT_EQ(m_reseau.envois, QStringList({"PC1|ME|hi", "PC2|ME|hi"}));
}

} // namespace

TEST_F(EnvoiTest, LargeInputsAreHandledWhole)
{
    // 500 typed stations with empty entries between the commas: each one reported, in order.
    QStringList saisie;
    for (int i = 0; i < 500; ++i) {
        saisie << QStringLiteral("s%1").arg(i) << (i % 7 ? QString() : QStringLiteral(" "));
        m_reseau.absents.insert(QStringLiteral("S%1").arg(i));
    }
    const QStringList journal = envoyer(tape(saisie.join(','), "hi"));
    ASSERT_EQ(journal.size(), 503);
    EXPECT_TRUE(journal[1].startsWith("S0|S0|-1|")) << journal[1].toStdString();
    EXPECT_TRUE(journal[500].startsWith("S499|S499|-1|")) << journal[500].toStdString();
    EXPECT_EQ(journal.last(), "termine 0 1");

    // 100,000 characters: 114 parts, the last of 560 characters after its header.
    m_reseau.vider();
    envoyer(tape("big", QString(100000, 'x')));
    ASSERT_EQ(m_reseau.textes.size(), 114);
    EXPECT_TRUE(m_reseau.textes.first().startsWith("[01/114]\r\nxxx"));
    EXPECT_EQ(m_reseau.textes.last(), "[114/114]\r\n" + QString(560, 'x'));
    EXPECT_EQ(enregistrements().size(), 1);
}
