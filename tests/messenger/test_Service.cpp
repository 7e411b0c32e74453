#include "Bytes.h"
#include "SmbTestClient.h"

#include "messenger/Names.h"
#include "messenger/Service.h"
#include "messenger/codec/Datagram.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <thread>

namespace pv {
namespace {

using namespace codec;
using codec::test::Bytes;
using codec::test::hex;
using pv::test::SmbTestClient;

const SmbStatus Success = SmbStatus::success();
const SmbStatus NoMessage = SmbStatus::dos(kErrDos, kErrDosInvalidParameter);
const SmbStatus NoRoom = SmbStatus::dos(kErrSrv, kErrSrvNoRoom);

// The service on loopback, on free ports, serving a temporary spool from a thread of its own.
class ServiceTest : public ::testing::Test
{
protected:
    void start(void (*adjust)(ServiceOptions&) = [](ServiceOptions&) {})
    {
        stop();
        ServiceOptions o;
        o.spoolFolder = spoolFolder;
        o.bindAddress = "127.0.0.1";
        o.port = 0;
        o.nameServicePort = -1;
        o.datagramPort = 0;
        o.hostName = "HOST";
        o.names = QStringList {"BOB"};
        adjust(o);
        service = std::make_unique<MessengerService>(o);
        ASSERT_EQ(service->start(), MessengerService::StartResult::Ok);
        thread = std::thread([this] { service->run(); });
    }
    void stop()
    {
        if (service) {
            service->stop();
            thread.join();
            service.reset();
        }
    }
    void TearDown() override { stop(); }
    uint16_t port() const { return service->port(); }
    QList<Popup> popups() const { return PopupSpool(spoolFolder).all(); }

    QTemporaryDir dir;
    QString spoolFolder = dir.path() + "/spool";
    std::unique_ptr<MessengerService> service;
    std::thread thread;
};

TEST_F(ServiceTest, MessagesBecomePopups)
{
    const struct
    {
        const char* what;
        bool singleBlock;
        std::string text; // OEM bytes as sent
        QString body;
    } cases[] = {
        {"CR LF", false, "a\r\nb", "a\r\nb"},
        {"LF", false, "a\nb", "a\r\nb"},
        {"LF CR", false, "a\n\rb", "a\r\nb"},
        {"CR", true, "a\rb", "a\r\nb"},
        {"0x14",
         false,
         "a\x14"
         "b",
         "a\r\nb"},
        {"in a row",
         false,
         "1\r\n\r\n2\n\n3\x14\x14"
         "4\r\r5\n\r\n\r6",
         "1\r\n\r\n2\r\n\r\n3\r\n\r\n4\r\n\r\n5\r\n\r\n6"},
        {"CP850", true, "\x82t\x82 \x85 No\x89l", QString::fromUtf8("été à Noël")},
        {"blocks", false, std::string(300, 'x') + "\ny", QString(300, 'x') + "\r\ny"},
    };
    for (const bool french : {false, true}) {
        french ? start([](ServiceOptions& o) { o.language = PopupLanguage::French; }) : start();
        for (const auto& c : cases) {
            SCOPED_TRACE(c.what);
            const QDateTime before = QDateTime::currentDateTime().addMSecs(-1);
            SmbTestClient client(port());
            EXPECT_EQ(client.sendMessage(c.text, c.singleBlock), Success);
            const auto p = PopupSpool(spoolFolder).newest();
            ASSERT_TRUE(p);
            EXPECT_EQ(p->title, french ? "Service Affichage des messages " : "Messenger Service ");
            const QString header
                = french ? QString::fromUtf8("Message de ALICE à BOB le ") : "Message from ALICE to BOB on ";
            EXPECT_EQ(p->text, header + p->arrived.toString("dd/MM/yyyy HH:mm:ss") + "\r\n\r\n" + c.body);
            EXPECT_EQ(QStringList({p->from, p->to, p->peer}), QStringList({"ALICE", "BOB", "127.0.0.1"}));
            EXPECT_TRUE(p->arrived >= before && p->arrived <= QDateTime::currentDateTime());
            EXPECT_TRUE(PopupSpool(spoolFolder).remove(*p));
        }
    }
}

TEST_F(ServiceTest, AnswersSessionsOnlyForItsNames)
{
    start();
    EXPECT_EQ(MessengerService({.spoolFolder = spoolFolder}).start(), MessengerService::StartResult::SpoolBusy);
    ASSERT_TRUE(ServiceNames(spoolFolder).add("Carol"));
    const std::pair<NetbiosName, bool> cases[] = {
        {{"BOB", kSuffixMessenger, {}}, true},
        {{"bob", kSuffixMessenger, {}}, true},   // not upper-cased by its sender
        {{"HOST", kSuffixMessenger, {}}, true},  // the host name
        {{"CAROL", kSuffixMessenger, {}}, true}, // an alias added while it runs
        {{"BOB", kSuffixServer, {}}, false},
        {{"DAVE", kSuffixMessenger, {}}, false},
        {{"*SMBSERVER", kSuffixServer, {}}, false}, // smbclient's second try
    };
    for (const auto& [called, accepted] : cases) {
        SCOPED_TRACE(called.name + "<" + std::to_string(called.suffix) + ">");
        SmbTestClient client(port());
        ASSERT_TRUE(client.sendBytes(*buildSessionRequest(called, {"ALICEPC", 0, {}})));
        EXPECT_EQ(client.readFrame(), accepted ? hex("82 00 00 00") : hex("83 00 00 01 82"));
        EXPECT_TRUE(accepted ? client.sendMessage("hi") == Success : client.closedByService());
    }
    EXPECT_EQ(popups().size(), 4);
}

TEST_F(ServiceTest, RefusedCommandsKeepTheConnection)
{
    start([](ServiceOptions& o) { o.maxMessageBytes = 120; });
    SmbTestClient client(port());
    EXPECT_EQ(client.call(SmbCommand::SendText, "orphan"), NoMessage);
    EXPECT_EQ(client.call(SmbCommand::SendEnd), NoMessage);
    EXPECT_EQ(client.sendMessage(std::string(121, 'x')), NoRoom);
    EXPECT_EQ(client.call(SmbCommand::SendEnd), NoMessage); // the long one was dropped
    EXPECT_EQ(client.sendMessage(std::string(121, 'x'), true), NoRoom);
    auto negotiate = *buildMessengerRequest({{}, "A", "B", 0, {}});
    negotiate[4] = 0x72;
    ASSERT_TRUE(client.sendBytes(*buildSessionMessage(negotiate)));
    const auto frame = client.readFrame();
    EXPECT_EQ(Bytes(frame.begin() + 8, frame.begin() + std::min<long>(13, long(frame.size()))), hex("72 02 00 40 00"));
    EXPECT_EQ(client.sendMessage("still here"), Success);
    ASSERT_EQ(popups().size(), 1);
    EXPECT_TRUE(popups()[0].text.endsWith("still here"));
}

TEST_F(ServiceTest, MalformedFramesCloseOnlyTheirConnection)
{
    start();
    const Bytes d5 = *buildMessengerRequest({{}, "ALICE", "BOB", 0, {}});
    const Bytes session = *buildSessionRequest({"BOB", 3, {}}, {"A", 0, {}});
    const std::pair<const char*, Bytes> cases[] = {
        {"unknown frame type", hex("42 00 00 00")},
        {"unknown flag", hex("00 02 00 00")},
        {"frame above the limit", hex("00 01 FF FF")},
        {"session response from a client", hex("82 00 00 00")},
        {"not an SMB", *buildSessionMessage(hex("FE 'SMB' D5 00 00 00 00"))},
        {"SMB header cut", *buildSessionMessage(Bytes(d5.begin(), d5.begin() + 20))},
        {"D5 without its To", *buildSessionMessage(Bytes(d5.begin(), d5.end() - 5))},
        {"a reply", *buildSessionMessage(codec::test::patched(d5, 9, {kSmbFlagReply}))},
        {"second session request", codec::test::cat({session, session})},
    };
    for (const auto& [what, bytes] : cases) {
        SCOPED_TRACE(what);
        SmbTestClient witness(port());
        ASSERT_EQ(witness.call(SmbCommand::SendStart), Success);
        SmbTestClient bad(port());
        ASSERT_TRUE(bad.sendBytes(bytes));
        while (!bad.readFrame().empty()) { // a positive session response may come first
        }
        EXPECT_TRUE(bad.closedByService());
        EXPECT_EQ(witness.call(SmbCommand::SendText, what), Success);
        EXPECT_EQ(witness.call(SmbCommand::SendEnd), Success);
    }
    EXPECT_EQ(popups().size(), std::size(cases));
}

TEST_F(ServiceTest, IdleAndSurplusConnectionsAreClosed)
{
    start([](ServiceOptions& o) {
        o.idleMs = 300;
        o.maxConnections = 3;
    });
    SmbTestClient oldest(port());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    SmbTestClient idle(port());
    SmbTestClient keepAlives(port());
    SmbTestClient sender(port()); // the fourth: the one idle the longest makes room
    EXPECT_TRUE(oldest.closedByService());
    EXPECT_EQ(sender.sendMessage("room made"), Success);
    for (int i = 0; i < 6; ++i) {
        keepAlives.sendBytes(buildKeepAlive()); // no sign of activity; fails once closed
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_TRUE(keepAlives.closedByService());
    EXPECT_TRUE(idle.closedByService());
}

TEST_F(ServiceTest, NothingIsAcknowledgedThatIsNotInTheSpool)
{
    start([](ServiceOptions& o) { o.maxSpoolFiles = 2; });
    // The spool folder replaced by a file: root ignores permissions, not that.
    ASSERT_TRUE(QDir().rename(spoolFolder, spoolFolder + ".away"));
    ASSERT_TRUE(QFile(spoolFolder).open(QIODevice::WriteOnly));
    {
        SmbTestClient client(port());
        EXPECT_EQ(client.sendMessage("lost"), NoRoom);
        EXPECT_EQ(client.sendMessage("lost", true), NoRoom);
    }
    ASSERT_TRUE(QFile::remove(spoolFolder) && QDir().rename(spoolFolder + ".away", spoolFolder));
    EXPECT_TRUE(popups().isEmpty());
    SmbTestClient client(port()); // and a full one
    EXPECT_EQ(client.sendMessage("1"), Success);
    EXPECT_EQ(client.sendMessage("2", true), Success);
    EXPECT_EQ(client.sendMessage("3"), NoRoom);
    EXPECT_EQ(popups().size(), 2);
}

TEST_F(ServiceTest, DomainBroadcastsForItsWorkgroupOnly)
{
    start();
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to {AF_INET, htons(service->datagramPort()), {htonl(INADDR_LOOPBACK)}, {}};
    const Bytes mailslot = *buildMessengerMailslot({"ALICE",
                                                    "WORKGROUP*",
                                                    "to\x14"
                                                    "all"});
    for (const char* group : {"OTHERGROUP", "WORKGROUP"}) {
        Datagram d;
        d.source = {"ALICEPC", 0, {}};
        d.destination = {group, 0, {}};
        d.userData = mailslot;
        const Bytes packet = *buildDatagram(d);
        ::sendto(fd, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    }
    ::close(fd);
    for (int i = 0; i < 100 && popups().isEmpty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_EQ(popups().size(), 1); // the other group's came first and was left alone
    EXPECT_TRUE(popups()[0].text.endsWith("\r\n\r\nto\r\nall"));
    EXPECT_EQ(popups()[0].to, "WORKGROUP*");
}

TEST_F(ServiceTest, SpoolReadingSkipsBrokenFiles)
{
    PopupSpool spool(spoolFolder);
    const QDateTime arrived(QDate(2026, 3, 29), QTime(1, 30), QTimeZone("Europe/Paris")); // just before DST
    for (const char* text : {"one", "two", "three"}) {
        ASSERT_TRUE(spool.write({QString(text) == "two" ? "B" : "A", text, "F", "T", "10.0.0.1", arrived, {}}));
    }
    QFile broken(spoolFolder + "/99999999999999999999-0-0.popup"); // sorts last
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly) && broken.write("Pilvanor-Popup: 1\nTitle: A\n") > 0);
    broken.close();

    EXPECT_EQ(spool.all().size(), 3);
    EXPECT_EQ(spool.newest()->text, "three");
    auto first = spool.oldestWithTitle("A");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->text, "one");
    EXPECT_EQ(first->arrived, arrived);
    EXPECT_EQ(first->arrived.offsetFromUtc(), 3600);
    EXPECT_FALSE(spool.oldestWithTitle("A "));
    EXPECT_TRUE(spool.remove(*first));
    EXPECT_EQ(spool.oldestWithTitle("A")->text, "three");
    first->id = "../spool/" + first->id;
    EXPECT_FALSE(spool.remove(*first));
}

} // namespace
} // namespace pv
