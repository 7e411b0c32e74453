#include "TestFiles.h"

#include "common/Language.h"
#include "common/MessengerText.h"
#include "common/NetworkProbes.h"
#include "messenger/NameQuery.h"
#include "messenger/codec/NameService.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QNetworkDatagram>
#include <QProcess>
#include <QTemporaryDir>
#include <QUdpSocket>

#include <gtest/gtest.h>

#include <cctype>

#include <fcntl.h>
#include <future>
#include <sched.h>
#include <unistd.h>

using namespace pv;

namespace {

TEST(NetworkProbes, WorkgroupFromSmbConf)
{
    const std::pair<const char*, const char*> table[] = {
        {nullptr, "WORKGROUP"},
        {"\n  [ GLOBAL ]  \n\t Work Group   =   lan one  \r\n", "LAN ONE"},
        {"[homes]\nworkgroup = X\n[global]\nserver string = s\n", "WORKGROUP"},
        {"[global]\nworkgroup = A\n[printers]\nworkgroup = B\n", "A"},
        {"[global]\nworkgroup = A\nworkgroup =\n", "WORKGROUP"},
    };
    QTemporaryDir dir;
    for (int i = 0; const auto& [contenu, attendu] : table) {
        const QString chemin = dir.filePath(QString::number(i++));
        ASSERT_TRUE(!contenu || test::writeFile(chemin, contenu));
        qputenv("PILVANOR_SMB_CONF", chemin.toLocal8Bit());
        EXPECT_EQ(gObtenirNomDomainePrincipal().toStdString(), attendu) << (contenu ? contenu : "no file");
    }
    qunsetenv("PILVANOR_SMB_CONF");
}

// Moves this thread into a network namespace of its own (and back): what the tests send stays inside it, and its
// settings are theirs to change. The kernel removes it with its last user.
class ReseauIsole : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (m_origine < 0 || ::unshare(CLONE_NEWNET) != 0) {
            GTEST_SKIP() << "cannot create a network namespace (needs root or CAP_SYS_ADMIN)";
        }
        setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
            m_messages.append(QString::number(style) + u' ' + text);
            return MsgResult::Ok;
        });
    }
    void TearDown() override
    {
        setMessageBoxPresenter({});
        ::setns(m_origine, CLONE_NEWNET); // where it still is, when unshare failed
        ::close(m_origine);
    }

    // 10.77.0.2 is a neighbour that takes frames and never answers; 10.77.0.3 does not exist, and the quick
    // neighbour time-out makes the kernel send back "host unreachable" from our own 10.77.0.1.
    void brancherVeth()
    {
        for (const char* commande : {"link set lo up",
                                     "link add pva type veth peer name pvb",
                                     "addr add 10.77.0.1/24 brd + dev pva",
                                     "link set pva up",
                                     "link set pvb up",
                                     "neigh add 10.77.0.2 lladdr 02:00:00:00:00:02 dev pva nud permanent"}) {
            ASSERT_EQ(QProcess::execute(QStringLiteral("ip"), QString::fromLatin1(commande).split(u' ')), 0)
                << commande;
        }
        ASSERT_TRUE(test::writeFile(QStringLiteral("/proc/sys/net/ipv4/neigh/pva/retrans_time_ms"), "50"));
    }

    // Runs `travail` on a thread while answering each name question to port 1137 with what `reponses` gives.
    using Reponses = std::vector<codec::Result<std::vector<uint8_t>>>;
    static auto repondre(auto travail, auto reponses)
    {
        QUdpSocket membre;
        EXPECT_TRUE(membre.bind(QHostAddress::AnyIPv4, 1137));
        auto fin = std::async(std::launch::async, travail);
        while (fin.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            const QNetworkDatagram d = membre.waitForReadyRead(20) ? membre.receiveDatagram() : QNetworkDatagram();
            const QByteArray o = d.data();
            const auto q = codec::parseNameQuestion({reinterpret_cast<const uint8_t*>(o.data()), size_t(o.size())});
            for (const auto& r : q ? reponses(*q, d) : Reponses {}) {
                membre.writeDatagram(
                    d.makeReply(QByteArray(reinterpret_cast<const char*>(r->data()), qsizetype(r->size()))));
            }
        }
        return fin.get();
    }

    int m_origine = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    QStringList m_messages;
};

TEST_F(ReseauIsole, PingEachMechanism)
{
    ASSERT_NO_FATAL_FAILURE(brancherVeth());
    ASSERT_TRUE(test::writeFile(QStringLiteral("/proc/sys/net/ipv4/ping_group_range"), "0 0"));
    EXPECT_EQ(gObtenirAdresseIP().toStdString(), "10.77.0.1") << "not lo's 127.0.0.1";
    const std::tuple<MethodePing, const char*, int, const char*> table[] = {
        // methode (as root, Auto is the raw socket), cible, delaiMs, repondant ("": silence, "-": unreachable)
        {MethodePing::Auto, "localhost", 1000, "127.0.0.1"},
        {MethodePing::Auto, "10.77.0.2", 300, ""},
        {MethodePing::Auto, "10.77.0.3", 3000, "-"},
        {MethodePing::SocketDatagramme, "127.0.0.1", 1000, "127.0.0.1"},
        {MethodePing::SocketDatagramme, "10.77.0.3", 3000, "-"},
        {MethodePing::CommandePing, "127.0.0.1", 1000, "127.0.0.1"},
        {MethodePing::CommandePing, "10.77.0.2", 300, ""},
        {MethodePing::CommandePing, "10.77.0.3", 3000, "-"},
    };
    for (const auto& [methode, cible, delaiMs, attendu] : table) {
        SCOPED_TRACE(testing::Message() << int(methode) << ' ' << cible);
        if (methode == MethodePing::CommandePing && !QFile::exists(QStringLiteral("/usr/bin/ping"))) {
            continue; // not installed
        }
        const bool reponse = std::isdigit(*attendu);
        QString repondant = QStringLiteral("unchanged");
        QElapsedTimer montre;
        montre.start();
        EXPECT_EQ(gPingStation(QString::fromLatin1(cible), &repondant, delaiMs, methode), reponse);
        const qint64 duree = montre.elapsed();
        EXPECT_LT(duree, delaiMs + 1500);
        EXPECT_EQ(repondant.toStdString(), reponse ? attendu : "unchanged");
        // Silence waits for the whole time-out; "unreachable" ends the wait.
        EXPECT_EQ(duree >= delaiMs - 5, !*attendu) << duree;
    }
    EXPECT_TRUE(m_messages.isEmpty()) << m_messages.join(u'\n').toStdString();
}

TEST_F(ReseauIsole, PingFailures)
{
    // Inside the namespace the name servers are out of reach: the look-up fails at once, and quietly.
    const QDeadlineTimer limite(1500);
    EXPECT_FALSE(gPingStation(QStringLiteral("pv-no-such-station.invalid"), nullptr, 500));
    EXPECT_FALSE(gPingStation(QString(), nullptr, 500));
    EXPECT_FALSE(limite.hasExpired());
    // The namespace starts with ICMP sockets allowed to no group: no way to send is reported.
    EXPECT_FALSE(gPingStation(QStringLiteral("127.0.0.1"), nullptr, 500, MethodePing::SocketDatagramme));
    EXPECT_EQ(m_messages, QStringList {QStringLiteral("0 Unable to Create File Handle")});
}

// The interop tests list a real workgroup; this stand-in member of TESTWG (10.77.0.1) also sends what nmbd does not:
// an answer to another transaction naming 127.0.0.2, and a node status with a group name, a <20> name and a user.
TEST_F(ReseauIsole, WorkgroupListingKeepsOnlyMembersStations)
{
    using namespace pv::codec;
    ASSERT_NO_FATAL_FAILURE(brancherVeth());
    const QDeadlineTimer limite(2 * 300 + 1500); // two rounds of 300 ms
    const auto liste
        = [] { return gListerStationsGroupeTravail(QStringLiteral("testwg"), 300, 1137).join(u',').toStdString(); };
    const std::string listees = repondre(liste, [](const NameQuestion& q, const QNetworkDatagram& d) -> Reponses {
        if (q.type != kRrTypeNbStat && !(q.name == NetbiosName {"TESTWG", 0x00, {}} && q.isBroadcast())) {
            return {};
        }
        NameQuestion autre = q;
        ++autre.id;
        const NbAddress a[] = {{0, 0x0A4D0001}, {0, 0x7F000002}};
        const bool intrus = d.destinationAddress() == QHostAddress(QStringLiteral("127.0.0.2"));
        const std::vector<NodeStatusEntry> noms = {{{intrus ? "INTRUDER" : "PEERA", 0x00, {}}, kNameActive},
                                                   {{"ALICE", 0x03, {}}, kNameActive},
                                                   {{"FILES", 0x20, {}}, kNameActive},
                                                   {{"TESTWG", 0x00, {}}, kNbGroup | kNameActive}};
        if (q.type == kRrTypeNbStat) {
            return {buildNodeStatusResponse(q, noms)};
        }
        return {buildNameQueryAnswer(q, 0, {a, 1}), buildNameQueryAnswer(autre, 0, {a + 1, 1})};
    });
    EXPECT_EQ(listees, "FILES,PEERA") << "computers only, not the user ALICE<03>";
    EXPECT_FALSE(limite.hasExpired());
}

// A NetBIOS name (no dot) is looked for without DNS first: the hosts file, then the WINS servers, then a broadcast.
// NAME<03> and NAME<00> are asked at once, so that a missing name costs one time-out; here only the computer name
// answers.
TEST_F(ReseauIsole, StationNameIsLookedForCheapestFirst)
{
    using namespace pv::codec;
    ASSERT_NO_FATAL_FAILURE(brancherVeth());
    QTemporaryDir dossier;
    const std::tuple<const char*, const char*, std::vector<uint32_t>, uint32_t, std::vector<std::pair<uint8_t, bool>>>
        cas[] = {
            // what, hosts file, WINS servers, address found, questions seen (suffix, broadcast)
            {"broadcast", "10.77.0.8 other\n", {}, 0x0A4D0001, {{kSuffixMessenger, true}, {kSuffixWorkstation, true}}},
            {"hosts file, no query", "10.77.0.9 other Ghost # x\n", {0x7F000001}, 0x0A4D0009, {}},
            {"WINS server first",
             "",
             {0x7F000001},
             0x0A4D0001,
             {{kSuffixMessenger, false}, {kSuffixWorkstation, false}}},
        };
    for (const auto& [quoi, hosts, wins, attendue, attendues] : cas) {
        SCOPED_TRACE(quoi);
        ASSERT_TRUE(test::writeFile(dossier.filePath("hosts"), hosts));
        StationLookup recherche {600, 1137, wins, stdText(dossier.filePath("hosts"))};
        const auto trouve = [&] {
            return resolveStation({"GHOST", kSuffixMessenger, {}}, "ghost", recherche).value_or(0);
        };
        std::vector<std::pair<uint8_t, bool>> questions;
        const uint32_t trouvee = repondre(trouve, [&](const NameQuestion& q, const QNetworkDatagram&) -> Reponses {
            if (q.name.name != "GHOST") {
                return {};
            }
            if (std::ranges::find(questions, std::pair(q.name.suffix, q.isBroadcast())) == questions.end()) {
                questions.emplace_back(q.name.suffix, q.isBroadcast());
            }
            const NbAddress a[] = {{0, 0x0A4D0001}};
            return q.name.suffix == kSuffixWorkstation ? Reponses {buildNameQueryAnswer(q, 0, {a, 1})} : Reponses {};
        });
        EXPECT_EQ(trouvee, attendue);
        EXPECT_EQ(questions, attendues);
    }
}

} // namespace
