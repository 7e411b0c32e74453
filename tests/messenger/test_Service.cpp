#include "Bytes.h"
#include "SmbTestClient.h"
#include "TempDir.h"

#include "messenger/Names.h"
#include "messenger/Service.h"
#include "messenger/codec/Datagram.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

namespace pv {
namespace {

using namespace codec;
using namespace codec::test;
using pv::test::SmbTestClient;
using pv::test::TempDir;
using namespace std::chrono;

const SmbStatus Success {}, NoMessage = SmbStatus::dos(kErrDos, kErrDosInvalidParameter),
                            NoRoom = SmbStatus::dos(kErrSrv, kErrSrvNoRoom);

// The service on loopback, on free ports, serving a temporary spool from a thread of its own.
class ServiceTest : public ::testing::Test
{
protected:
    void start(ServiceOptions o = {})
    {
        o.spoolFolder = spoolFolder;
        o.bindAddress = "127.0.0.1";
        o.port = 0;
        o.nameServicePort = -1;
        o.datagramPort = 0;
        o.hostName = "HOST";
        o.names = {"BOB"};
        service = std::make_unique<MessengerService>(o);
        ASSERT_TRUE(service->start());
        thread = std::thread([this] { service->run(); });
    }
    void TearDown() override
    {
        service->stop(); // every test starts it
        thread.join();
    }
    std::vector<Popup> popups() const { return PopupSpool(spoolFolder).all(); }

    TempDir dir;
    std::string spoolFolder = dir.filePath("spool");
    std::unique_ptr<MessengerService> service;
    std::thread thread;
};

// Blocks are put together in the abuse test, and reach the service from smbclient in the interop tests.
TEST_F(ServiceTest, MessagesAndDomainBroadcastsBecomePopups)
{
    start({.language = PopupLanguage::French});
    // CP850, and each line-break form twice in a row: CR LF, LF, CR, LF CR, 0x14.
    EXPECT_EQ(SmbTestClient(service->port()).sendMessage("\x82t\x82 1\r\n\r\n2\n\n3\r\r4\n\r\n\r5\x14\x14X", true),
              Success);
    const Popup p = PopupSpool(spoolFolder).newest().value();
    EXPECT_EQ(p.title, "Service Affichage des messages ");
    ASSERT_TRUE(p.arrived);
    EXPECT_EQ(p.text,
              "Message de ALICE à BOB le " + p.arrived->headerText()
                  + "\r\n\r\nété 1\r\n\r\n2\r\n\r\n3\r\n\r\n4\r\n\r\n5\r\n\r\nX");
    EXPECT_EQ(std::vector<std::string>({p.from, p.to, p.peer}),
              std::vector<std::string>({"ALICE", "BOB", "127.0.0.1"}));
    EXPECT_LE(std::chrono::abs(p.arrived->utc - ArrivalTime::now().utc), seconds(5));
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in to {AF_INET, htons(service->datagramPort()), {htonl(INADDR_LOOPBACK)}, {}};
    for (const std::string group : {"OTHERGROUP", "WORKGROUP"}) {
        const Bytes mailslot = *buildMessengerMailslot({"ALICE", group + "*", "hi\x14you"});
        const Bytes packet
            = *buildDatagram({.source = {"ALICEPC", 0, {}}, .destination = {group, 0, {}}, .userData = mailslot});
        ::sendto(fd, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    ::close(fd);
    for (int i = 0; i < 100 && popups().size() < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_EQ(popups().size(), 2); // the broadcast to another group came first, and was left alone
    EXPECT_TRUE(popups()[1].text.ends_with("\r\n\r\nhi\r\nyou"));
    EXPECT_EQ(popups()[1].to, "WORKGROUP*");
    // In English; and a "%2" in a sender's name stays as it is.
    const ArrivalTime arrived {sys_days(2026y / March / 29) + 30min, 3600}; // 01:30 local
    const Popup english = makePopup("%2", "BOB", "x", OemCodePage::Cp850, PopupLanguage::English, "", arrived);
    EXPECT_EQ(english.text, "Message from %2 to BOB on 29/03/2026 01:30:00\r\n\r\nx");
}

TEST_F(ServiceTest, RefusalsKeepTheConnection)
{
    start({.maxMessageBytes = 120, .maxSpoolFiles = 1});
    SmbTestClient client(service->port());
    EXPECT_EQ(client.call(SmbCommand::SendText, "orphan"), NoMessage);
    EXPECT_EQ(client.call(SmbCommand::SendEnd), NoMessage);
    EXPECT_EQ(client.sendMessage(std::string(121, 'x')), NoRoom);
    EXPECT_EQ(client.call(SmbCommand::SendEnd), NoMessage); // the long one was dropped
    EXPECT_EQ(client.sendMessage(std::string(121, 'x'), true), NoRoom);
    ASSERT_TRUE(
        client.sendBytes(*buildSessionMessage(patched(*buildMessengerRequest({{}, "A", "B", 0, {}}), 4, {0x72}))));
    const auto frame = client.readFrame();
    EXPECT_EQ(Bytes(frame.begin() + 8, frame.begin() + std::min<long>(13, long(frame.size()))), hex("72 02 00 40 00"));
    // Nothing is acknowledged that is not in the spool: replaced by a file, the folder takes nothing even from root.
    std::filesystem::rename(spoolFolder, spoolFolder + ".away");
    ASSERT_TRUE(std::ofstream(spoolFolder).good());
    EXPECT_EQ(client.sendMessage("lost"), NoRoom);
    std::filesystem::remove(spoolFolder);
    std::filesystem::rename(spoolFolder + ".away", spoolFolder);
    EXPECT_EQ(client.sendMessage("1"), Success); // until it is full
    EXPECT_EQ(client.sendMessage("2", true), NoRoom);
    EXPECT_EQ(popups().size(), 1);
}

// The names it answers to, and each way it finds a frame bad (how the codec rejects each one is tested there): a
// connection that the service refuses or closes takes no other down.
TEST_F(ServiceTest, OnlyItsNamesAndGoodFrames)
{
    start();
    EXPECT_EQ(MessengerService({.spoolFolder = spoolFolder}).start().code(),
              int(MessengerService::StartResult::SpoolBusy));
    ASSERT_TRUE(ServiceNames(spoolFolder).add("Carol"));
    const auto session = [](const char* name, uint8_t suffix = kSuffixMessenger) {
        return *buildSessionRequest({name, suffix, {}}, {"ALICEPC", 0, {}});
    };
    const Bytes d5 = *buildMessengerRequest({{}, "ALICE", "BOB", 0, {}});
    const Bytes yes = hex("82 00 00 00"), no = hex("83 00 00 01 82"), none;
    const std::tuple<const char*, Bytes, Bytes, bool> cases[] = {
        {"BOB", session("BOB"), yes, true},
        {"bob, not upper-cased by its sender", session("bob"), yes, true},
        {"the host name", session("HOST"), yes, true},
        {"an alias added while it runs", session("CAROL"), yes, true},
        {"*SMBSERVER<20>, called by address", session("*SMBSERVER", kSuffixServer), yes, true},
        {"BOB<20>", session("BOB", kSuffixServer), no, false},
        {"*SMBSERVER<03>", session("*SMBSERVER"), no, false},
        {"DAVE", session("DAVE"), no, false},
        {"frame above the limit", hex("00 01 FF FF"), none, false},
        {"session response from a client", hex("82 00 00 00"), none, false},
        {"not an SMB", *buildSessionMessage(hex("FE 'SMB' D5 00 00 00 00")), none, false},
        {"D5 whose From lacks its 04", *buildSessionMessage(patched(d5, 35, {0x05})), none, false},
        {"a reply", *buildSessionMessage(patched(d5, 9, {kSmbFlagReply})), none, false},
        {"second session request", cat({session("BOB"), session("BOB")}), yes, false},
    };
    SmbTestClient witness(service->port()); // a message under way all along
    ASSERT_EQ(witness.call(SmbCommand::SendStart), Success);
    for (const auto& [what, bytes, reply, accepted] : cases) {
        SCOPED_TRACE(what);
        SmbTestClient client(service->port());
        ASSERT_TRUE(client.sendBytes(bytes));
        EXPECT_EQ(client.readFrame(), reply);
        EXPECT_TRUE(accepted ? client.sendMessage(what) == Success : client.closedByService());
        EXPECT_EQ(witness.call(SmbCommand::SendText, what), Success);
    }
    EXPECT_EQ(witness.call(SmbCommand::SendEnd), Success);
    EXPECT_EQ(popups().size(), 6);
}

TEST_F(ServiceTest, IdleAndSurplusConnectionsAreClosed)
{
    start({.maxConnections = 2, .idleMs = 1000});
    // These two wait 300 ms for their close: one by the idle time-out would come too late.
    SmbTestClient oldest(service->port(), 300);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    SmbTestClient keepAlives(service->port(), 300);
    SmbTestClient sender(service->port()); // the third: the one idle the longest makes room
    EXPECT_TRUE(oldest.closedByService());
    EXPECT_EQ(sender.sendMessage("room made"), Success);
    for (int i = 0; i < 12; ++i) {
        keepAlives.sendBytes(buildKeepAlive()); // no sign of activity; fails once closed
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_TRUE(keepAlives.closedByService());
}

TEST(PopupSpool, ReadingSkipsBrokenFiles)
{
    TempDir dir;
    PopupSpool spool(dir.filePath("spool"));
    const ArrivalTime arrived {sys_days(2026y / March / 29) + 30min, 3600}; // 01:30 in Paris, just before DST
    for (const std::string text : {"one", "two", "three"}) {
        ASSERT_TRUE(spool.write({text == "two" ? "B" : "A", text, "F", "T", "10.0.0.1", arrived, {}}));
    }
    std::ofstream(spool.folder() + "/99999999999999999999-0-0.popup") << "Pilvanor-Popup: 1\nTitle: A\n"; // sorts last

    EXPECT_EQ(spool.all().size(), 3);
    EXPECT_EQ(spool.newest()->text, "three");
    const Popup first = spool.oldestWithTitle("A").value();
    EXPECT_EQ(first.text, "one");
    EXPECT_EQ(first.arrived, arrived);
    EXPECT_EQ(first.arrived->isoText(), "2026-03-29T01:30:00.000+01:00");
    EXPECT_FALSE(spool.oldestWithTitle("A "));
    EXPECT_TRUE(spool.remove(first));
    Popup third = spool.oldestWithTitle("A").value();
    EXPECT_EQ(third.text, "three");
    third.id = "../spool/" + third.id; // the same file, by a path
    EXPECT_FALSE(spool.remove(third));
}

// What older writers left is read too; what is not a time is none.
TEST(PopupSpool, ArrivalTimesAreReadInEveryForm)
{
    const auto utc = sys_days(2026y / November / 21) + 8h + 15min;
    const std::pair<const char*, std::optional<ArrivalTime>> cases[] = {
        {"2026-11-21T09:15:00.123+01:00", ArrivalTime {utc + 123ms, 3600}},
        {"2026-11-21T05:45:00-02:30", ArrivalTime {utc, -9000}},
        {"2026-11-21T08:15:00.5Z", ArrivalTime {utc + 500ms, 0}},
        {"2026-11-21T08:15:00.123456Z", ArrivalTime {utc + 123ms, 0}},
        {"2026-02-30T08:15:00Z", std::nullopt},
        {"2026-11-21T24:00:00Z", std::nullopt},
        {"2026-11-21T08:15:00+1", std::nullopt},
        {"2026-11-21T08:15:00+24:00", std::nullopt},
        {"2026-11-21T08:15:00+01:60", std::nullopt},
        {"2026-11-21T09:15:00.250", ArrivalTime {utc + 250ms, 3600}}, // local, in the zone set below
        {"0155-03-29T01:30:00", ArrivalTime {sys_days(155y / March / 29) + 30min, 3600}},
        {"9999-12-31T23:59:59", ArrivalTime {sys_days(9999y / December / 31) + 22h + 59min + 59s, 3600}},
        {"2026-11-21 08:15:00Z", std::nullopt},
        {"", std::nullopt},
    };
    const char* before = std::getenv("TZ");
    const std::optional<std::string> zone = before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    ::setenv("TZ", "<+01>-1", 1); // one hour east all year, so that local times have one answer
    ::tzset();
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(ArrivalTime::fromIsoText(text), expected) << text;
    }
    zone ? ::setenv("TZ", zone->c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
    EXPECT_EQ(ArrivalTime({utc, -9000}).isoText(), "2026-11-21T05:45:00.000-02:30");
    EXPECT_EQ(ArrivalTime({utc, -9000}).headerText(), "21/11/2026 05:45:00");
}

} // namespace
} // namespace pv
