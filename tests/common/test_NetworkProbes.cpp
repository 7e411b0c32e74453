#include "common/Language.h"
#include "common/NetworkProbes.h"
#include "messenger/codec/NameService.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QNetworkInterface>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <atomic>
#include <fcntl.h>
#include <map>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <thread>
#include <unistd.h>

using namespace pv;

namespace {

TEST(NetworkProbes, WorkgroupFromSmbConf)
{
    struct Ligne
    {
        const char* nom;
        const char* contenu; // nullptr: no file
        const char* attendu;
    };
    const Ligne table[] = {
        {"missing file", nullptr, "WORKGROUP"},
        {"no workgroup", "[global]\n  netbios name = PC1\n", "WORKGROUP"},
        {"plain", "[global]\nworkgroup = home\n", "HOME"},
        {"commented out", "[global]\n;workgroup = A\n# workgroup = B\n  ; workgroup = C\n", "WORKGROUP"},
        {"case of key and section", "[GLOBAL]\nWorkGroup=Office\n", "OFFICE"},
        {"blanks", "\n\n  [ global ]  \n\t work group   =   lan one  \r\n", "LAN ONE"},
        {"other section", "[homes]\nworkgroup = X\n[global]\nserver string = s\n", "WORKGROUP"},
        {"after other section", "[global]\nworkgroup = A\n[printers]\nworkgroup = B\n", "A"},
        {"empty value", "[global]\nworkgroup =\n", "WORKGROUP"},
        {"last wins", "[global]\nworkgroup = A\nworkgroup = B\n", "B"},
    };
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const Ligne& ligne : table) {
        SCOPED_TRACE(ligne.nom);
        const QString chemin = dir.filePath(QString::fromLatin1(ligne.nom));
        if (ligne.contenu) {
            QFile f(chemin);
            ASSERT_TRUE(f.open(QIODevice::WriteOnly));
            f.write(ligne.contenu);
        }
        qputenv("PILVANOR_SMB_CONF", chemin.toLocal8Bit());
        EXPECT_EQ(gObtenirNomDomainePrincipal().toStdString(), ligne.attendu);
    }
    qunsetenv("PILVANOR_SMB_CONF");
}

TEST(NetworkProbes, AddressIsNeverLoopback)
{
    const QString adresse = gObtenirAdresseIP();
    EXPECT_FALSE(adresse.startsWith(QLatin1String("127."))) << adresse.toStdString();
    if (!adresse.isEmpty()) {
        EXPECT_TRUE(QNetworkInterface::allAddresses().contains(QHostAddress(adresse))) << adresse.toStdString();
    }
}

// Whatever way this machine allows, as whoever runs the tests.
TEST(NetworkProbes, PingLoopbackHere)
{
    QString repondant;
    EXPECT_TRUE(gPingStation(QStringLiteral("127.0.0.1"), &repondant, 1000));
    EXPECT_EQ(repondant.toStdString(), "127.0.0.1");
}

// Moves this thread into a network namespace of its own (and back): what the tests send stays inside it, and its
// settings (ping_group_range, neighbour timers) are the tests' to change. The kernel removes it with its last user.
class EspaceReseau
{
public:
    EspaceReseau()
        : m_origine(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC))
    {
        m_actif = m_origine >= 0 && ::unshare(CLONE_NEWNET) == 0;
    }
    ~EspaceReseau()
    {
        if (m_actif) {
            ::setns(m_origine, CLONE_NEWNET);
        }
        if (m_origine >= 0) {
            ::close(m_origine);
        }
    }
    bool actif() const { return m_actif; }

private:
    int m_origine;
    bool m_actif = false;
};

bool ip(const QString& arguments)
{
    return QProcess::execute(QStringLiteral("ip"), arguments.split(u' ')) == 0;
}

bool ecrire(const QString& chemin, const QByteArray& valeur)
{
    QFile f(chemin);
    return f.open(QIODevice::WriteOnly) && f.write(valeur) == valeur.size();
}

class ReseauIsole : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!m_espace.actif()) {
            GTEST_SKIP() << "cannot create a network namespace (needs root or CAP_SYS_ADMIN)";
        }
        setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
            m_messages.append(QString::number(style) + u' ' + text);
            return MsgResult::Ok;
        });
        ASSERT_TRUE(ip(QStringLiteral("link set lo up")));
    }
    void TearDown() override { setMessageBoxPresenter({}); }

    // 10.77.0.2 is a neighbour that takes frames and never answers; 10.77.0.3 does not exist, and the quick
    // neighbour time-out makes the kernel send back "host unreachable" from our own 10.77.0.1.
    void brancherVeth()
    {
        ASSERT_TRUE(ip(QStringLiteral("link add pva type veth peer name pvb")));
        ASSERT_TRUE(ip(QStringLiteral("addr add 10.77.0.1/24 brd + dev pva")));
        ASSERT_TRUE(ip(QStringLiteral("link set pva up")) && ip(QStringLiteral("link set pvb up")));
        ASSERT_TRUE(ip(QStringLiteral("neigh add 10.77.0.2 lladdr 02:00:00:00:00:02 dev pva nud permanent")));
        ASSERT_TRUE(ecrire(QStringLiteral("/proc/sys/net/ipv4/neigh/pva/mcast_solicit"), "1"));
        ASSERT_TRUE(ecrire(QStringLiteral("/proc/sys/net/ipv4/neigh/pva/retrans_time_ms"), "50"));
    }

    EspaceReseau m_espace;
    QStringList m_messages;
};

TEST_F(ReseauIsole, PingEachMechanism)
{
    ASSERT_NO_FATAL_FAILURE(brancherVeth());
    ASSERT_TRUE(ecrire(QStringLiteral("/proc/sys/net/ipv4/ping_group_range"), "0 0"));

    struct Ligne
    {
        MethodePing methode;
        const char* cible;
        int delaiMs;
        bool reponse;
        const char* repondant;
    };
    const Ligne table[] = {
        {MethodePing::Auto, "127.0.0.1", 1000, true, "127.0.0.1"},
        {MethodePing::Auto, "localhost", 1000, true, "127.0.0.1"},
        {MethodePing::Auto, "10.77.0.1", 1000, true, "10.77.0.1"},
        {MethodePing::Auto, "10.77.0.2", 300, false, ""},
        {MethodePing::Auto, "10.77.0.3", 2000, true, "10.77.0.1"},
        {MethodePing::SocketBrut, "127.0.0.1", 1000, true, "127.0.0.1"},
        {MethodePing::SocketBrut, "10.77.0.2", 300, false, ""},
        {MethodePing::SocketDatagramme, "127.0.0.1", 1000, true, "127.0.0.1"},
        {MethodePing::SocketDatagramme, "10.77.0.2", 300, false, ""},
        {MethodePing::SocketDatagramme, "10.77.0.3", 2000, true, "10.77.0.1"},
        {MethodePing::CommandePing, "127.0.0.1", 1000, true, "127.0.0.1"},
        {MethodePing::CommandePing, "10.77.0.2", 300, false, ""},
        {MethodePing::CommandePing, "10.77.0.3", 2000, true, "10.77.0.1"},
    };
    const bool commande = QFile::exists(QStringLiteral("/usr/bin/ping"));
    for (const Ligne& ligne : table) {
        SCOPED_TRACE(testing::Message() << int(ligne.methode) << ' ' << ligne.cible);
        if (ligne.methode == MethodePing::CommandePing && !commande) {
            std::cout << "[  SKIPPED ] row " << ligne.cible << ": /usr/bin/ping is not installed\n";
            continue;
        }
        QString repondant = QStringLiteral("unchanged");
        QElapsedTimer montre;
        montre.start();
        EXPECT_EQ(gPingStation(QString::fromLatin1(ligne.cible), &repondant, ligne.delaiMs, ligne.methode),
                  ligne.reponse);
        const qint64 duree = montre.elapsed();
        EXPECT_LT(duree, ligne.delaiMs + 1500);
        if (ligne.reponse) {
            EXPECT_EQ(repondant.toStdString(), ligne.repondant);
        } else {
            EXPECT_GE(duree, ligne.delaiMs - 5) << "gave up before the time-out";
            EXPECT_EQ(repondant.toStdString(), "unchanged");
        }
    }
    EXPECT_TRUE(m_messages.isEmpty()) << m_messages.join(u'\n').toStdString();
}

TEST_F(ReseauIsole, PingUnknownNameFailsQuietly)
{
    // Inside the namespace the name servers are out of reach, so the look-up fails at once.
    QElapsedTimer montre;
    montre.start();
    EXPECT_FALSE(gPingStation(QStringLiteral("pv-no-such-station.invalid"), nullptr, 500));
    EXPECT_FALSE(gPingStation(QString(), nullptr, 500));
    EXPECT_LT(montre.elapsed(), 1500);
    EXPECT_TRUE(m_messages.isEmpty()) << m_messages.join(u'\n').toStdString();
}

TEST_F(ReseauIsole, PingWithNoWayToSendIsReported)
{
    // The namespace starts with ICMP sockets allowed to no group.
    EXPECT_FALSE(gPingStation(QStringLiteral("127.0.0.1"), nullptr, 500, MethodePing::SocketDatagramme));
    EXPECT_EQ(m_messages, QStringList {QStringLiteral("0 Unable to Create File Handle")});
}

// Stands in for the members of TESTWG on one socket: answers the broadcast query as two members (one twice, as
// nmbd does) plus a stray answer to another transaction, and each node status by the address it was sent to.
void membresTestwg(int fd, const std::atomic<bool>& fini)
{
    using namespace pv::codec;
    const auto nom = [](const char* texte, uint8_t suffixe, uint16_t drapeaux = kNameActive) {
        return NodeStatusEntry {{texte, suffixe, {}}, drapeaux};
    };
    const std::map<std::string, std::vector<NodeStatusEntry>> noms = {
        {"10.77.0.1",
         {nom("PEERA", 0x00),
          nom("PEERA", 0x03),
          nom("PEERA", 0x20),
          nom("ALICE", 0x03),
          nom("TESTWG", 0x00, kNbGroup | kNameActive),
          nom("TESTWG", 0x1E, kNbGroup | kNameActive)}},
        {"127.0.0.1", {nom("PEERB", 0x00), nom("PEERB", 0x03), nom("ALICE", 0x03)}},
        {"127.0.0.2", {nom("INTRUDER", 0x03)}},
    };
    std::vector<uint8_t> tampon(1500);
    while (!fini) {
        pollfd attente {fd, POLLIN, 0};
        if (::poll(&attente, 1, 20) <= 0) {
            continue;
        }
        sockaddr_in de {};
        iovec io {tampon.data(), tampon.size()};
        alignas(cmsghdr) char controle[64];
        msghdr message {&de, sizeof de, &io, 1, controle, sizeof controle, 0};
        const ssize_t n = ::recvmsg(fd, &message, 0);
        const cmsghdr* info = CMSG_FIRSTHDR(&message);
        const Result<NameQuestion> question = parseNameQuestion({tampon.data(), size_t(qMax<ssize_t>(n, 0))});
        if (!question || info == nullptr || info->cmsg_type != IP_PKTINFO) {
            continue;
        }
        in_pktinfo pour;
        std::memcpy(&pour, CMSG_DATA(info), sizeof pour);
        std::vector<Result<std::vector<uint8_t>>> reponses;
        if (question->type == kRrTypeNb && question->name.name == "TESTWG" && question->isBroadcast()) {
            NameQuestion autre = *question;
            ++autre.id;
            const NbAddress a[] = {{0, 0x0A4D0001}, {0, 0x7F000001}, {0, 0x7F000002}};
            reponses.push_back(buildNameQueryAnswer(*question, 0, {a, 1}));
            reponses.push_back(buildNameQueryAnswer(*question, 0, {a, 1}));
            reponses.push_back(buildNameQueryAnswer(*question, 0, {a + 1, 1}));
            reponses.push_back(buildNameQueryAnswer(autre, 0, {a + 2, 1}));
        } else if (question->type == kRrTypeNbStat) {
            char texte[INET_ADDRSTRLEN] = {};
            ::inet_ntop(AF_INET, &pour.ipi_addr, texte, sizeof texte);
            if (const auto trouve = noms.find(texte); trouve != noms.end()) {
                reponses.push_back(buildNodeStatusResponse(*question, trouve->second));
            }
        }
        for (const auto& r : reponses) {
            ASSERT_TRUE(r.ok());
            ::sendto(fd, r->data(), r->size(), 0, reinterpret_cast<const sockaddr*>(&de), sizeof de);
        }
    }
}

TEST_F(ReseauIsole, WorkgroupListing)
{
    ASSERT_NO_FATAL_FAILURE(brancherVeth());
    const quint16 port = 1137;
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    const int oui = 1;
    ::setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &oui, sizeof oui);
    sockaddr_in ici {};
    ici.sin_family = AF_INET;
    ici.sin_port = htons(port);
    ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&ici), sizeof ici), 0);
    std::atomic<bool> fini = false;
    std::thread membres(membresTestwg, fd, std::cref(fini));

    EXPECT_EQ(gListerStationsGroupeTravail(QStringLiteral("testwg"), 300, port).join(u',').toStdString(),
              "ALICE,PEERA,PEERB");
    QElapsedTimer montre;
    montre.start();
    EXPECT_TRUE(gListerStationsGroupeTravail(QStringLiteral("OTHERWG"), 300, port).isEmpty());
    EXPECT_LT(montre.elapsed(), 2 * 300 + 1500);
    fini = true;
    membres.join();
    ::close(fd);
}

} // namespace
