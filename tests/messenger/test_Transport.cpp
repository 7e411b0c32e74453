#include "Bytes.h"

#include "messenger/Transport.h"
#include "messenger/codec/ResultCodes.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace pv;
using namespace pv::codec;
using namespace pv::codec::test;

namespace {

enum class Fault { None, Status, Negative, Malformed, OtherCommand, Close, Silent, KeepAlive, Refused };

// What the fake peer does wrong, and when: `at` counts the SMB requests (0 = D5).
struct Script
{
    Fault fault = Fault::None;
    int at = 0;
    SmbStatus status {};
    uint8_t negative = 0;
};

// A peer on 127.0.0.1 that records each frame it receives and answers as its script says. One connection; every
// wait is bounded by the socket's receive time-out.
class FakePeer
{
public:
    explicit FakePeer(Script script)
        : m_script(script)
        , m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in here {};
        here.sin_family = AF_INET;
        here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof here;
        const timeval wait {3, 0};
        ::setsockopt(m_listener, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&here), size);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&here), &size);
        port = ntohs(here.sin_port);
        if (script.fault == Fault::Refused) {
            ::close(std::exchange(m_listener, -1));
            return;
        }
        ::listen(m_listener, 1);
        m_thread = std::thread([this] { serve(); });
    }
    ~FakePeer()
    {
        finish();
        if (m_listener >= 0) {
            ::close(m_listener);
        }
    }
    void finish()
    {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    uint16_t port = 0;
    std::vector<Bytes> frames;

private:
    void serve()
    {
        const int fd = ::accept(m_listener, nullptr, nullptr);
        for (int smb = 0; fd >= 0;) {
            Bytes frame;
            for (auto need = sessionBytesNeeded(frame, kSessionMaxLength); need && *need > 0;
                 need = sessionBytesNeeded(frame, kSessionMaxLength)) {
                const size_t had = frame.size();
                frame.resize(had + *need);
                if (::recv(fd, frame.data() + had, *need, MSG_WAITALL) != ssize_t(*need)) {
                    ::close(fd);
                    return;
                }
            }
            frames.push_back(frame);
            const bool faulty = frame[0] != 0x81 && smb++ == m_script.at;
            reply(fd, frame, faulty ? m_script.fault : Fault::None);
            if (faulty && m_script.fault == Fault::Close) {
                ::close(fd);
                return;
            }
        }
    }

    void reply(int fd, const Bytes& frame, Fault fault)
    {
        Bytes out;
        if (frame[0] == 0x81) {
            out = m_script.fault == Fault::Negative ? buildNegativeSessionResponse(m_script.negative)
                                                    : buildPositiveSessionResponse();
        } else if (fault == Fault::Malformed) {
            out = hex("00 00 00 06 FF 'SMX' D5 00");
        } else if (fault != Fault::Close && fault != Fault::Silent) {
            const auto request = parseMessengerRequest(std::span(frame).subspan(kSessionHeaderSize));
            ASSERT_TRUE(request.ok());
            SmbHeader header = request->header;
            const bool start = header.command == SmbCommand::SendStart;
            if (fault == Fault::OtherCommand) {
                header.command = SmbCommand::SendMessage;
            }
            const SmbStatus status = fault == Fault::Status ? m_script.status : SmbStatus::success();
            out = *buildSessionMessage(
                buildMessengerReply(header, status, start ? std::optional<uint16_t>(0x1234) : std::nullopt));
            if (fault == Fault::KeepAlive) {
                out.insert(out.begin(), {0x85, 0, 0, 0});
            }
        }
        ::send(fd, out.data(), out.size(), MSG_NOSIGNAL);
    }

    Script m_script;
    int m_listener;
    std::thread m_thread;
};

SendOptions loopback(uint16_t port)
{
    SendOptions options;
    options.port = port;
    options.resolveTimeoutMs = options.connectTimeoutMs = options.replyTimeoutMs = 300;
    return options;
}

TEST(Transport, InvalidNamesAndTexts)
{
    struct Row
    {
        const char* station;
        const char* from;
        QString text;
        int expected; // 2273: valid, and nothing listens
    };
    const Row table[] = {
        {"", "alice", "hi", 123},
        {"*", "alice", "hi", 123},
        {"**", "alice", "hi", 123},
        {"A*B", "alice", "hi", 123},
        {"BOB?", "alice", "hi", 123},
        {" BOB", "alice", "hi", 123},
        {"ABCDEFGHIJKLMNOP", "alice", "hi", 123},
        {"ABCDEFGHIJKLMNOP*", "alice", "hi", 123},
        {"日本", "alice", "hi", 123},
        {"127.0.0.1", "alice", "", 87},
        {"127.0.0.1", "A SENDER TOO LONG", "hi", 87},
        {"127.0.0.1", "AL*CE", "hi", 87},
        {"127.0.0.1", "alice", QString(kMaxMessageBytes, u'x'), 2273},
        {"127.0.0.1", "alice", QString(kMaxMessageBytes + 1, u'x'), 87},
        {"127.0.0.1", "alice", QString(kMaxMessageBytes / 2 + 1, u'\n'), 87}, // two bytes per line break
        {"localhost", "", "hi", 2273},
    };
    FakePeer nobody({Fault::Refused});
    for (const Row& row : table) {
        SCOPED_TRACE(testing::Message() << row.station << " / " << row.from << " / " << row.text.size());
        QString detail;
        EXPECT_EQ(
            netMessageBufferSend(
                loopback(nobody.port), QString::fromUtf8(row.station), QString::fromUtf8(row.from), row.text, &detail),
            row.expected);
        EXPECT_FALSE(detail.isEmpty());
    }
}

TEST(Transport, PeerBehaviourGivesResult)
{
    struct Row
    {
        const char* name;
        Script script;
        bool sessionRequest;
        int expected;
    };
    const Row table[] = {
        {"delivered", {}, true, 0},
        {"delivered without session request", {}, false, 0},
        {"keep-alive before a reply", {Fault::KeepAlive, 1}, true, 0},
        {"ERRDOS/71 on D5", {Fault::Status, 0, SmbStatus::dos(kErrDos, 71)}, true, 2273},
        {"ERRSRV/82 on D5", {Fault::Status, 0, SmbStatus::dos(kErrSrv, 82)}, false, 2273},
        {"ERRSRV/83 on D7", {Fault::Status, 1, SmbStatus::dos(kErrSrv, 83)}, true, 8},
        {"ERRSRV/81 on D6", {Fault::Status, 2, SmbStatus::dos(kErrSrv, 81)}, true, 2281},
        {"NTSTATUS 0xC00000D0 on D5", {Fault::Status, 0, SmbStatus::nt(0xC00000D0)}, true, 2273},
        {"NTSTATUS access denied on D7", {Fault::Status, 1, SmbStatus::nt(0xC0000022)}, true, 5},
        {"negative session 0x82", {Fault::Negative, 0, {}, 0x82}, true, 2273},
        {"negative session 0x81", {Fault::Negative, 0, {}, 0x81}, true, 5},
        {"negative session 0x83", {Fault::Negative, 0, {}, 0x83}, true, 8},
        {"negative session 0x8F", {Fault::Negative, 0, {}, 0x8F}, true, 2136},
        {"malformed reply", {Fault::Malformed, 1}, true, 2136},
        {"reply to another command", {Fault::OtherCommand, 0}, true, 2136},
        {"closed mid-way", {Fault::Close, 1}, true, 2136},
        {"silent past the time-out", {Fault::Silent, 2}, true, 2136},
        {"nothing listens", {Fault::Refused}, true, 2273},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.name);
        FakePeer peer(row.script);
        SendOptions options = loopback(peer.port);
        options.sessionRequest = row.sessionRequest;
        QElapsedTimer clock;
        clock.start();
        QString detail;
        EXPECT_EQ(netMessageBufferSend(
                      options, QStringLiteral("127.0.0.1"), QStringLiteral("alice"), QStringLiteral("hi"), &detail),
                  row.expected)
            << detail.toStdString();
        EXPECT_LT(clock.elapsed(), 1500);
        peer.finish();
        if (row.script.fault == Fault::Refused) {
            continue;
        }
        ASSERT_FALSE(peer.frames.empty());
        // An address is called as *SMBSERVER, which any server accepts.
        const auto first = parseSessionFrame(peer.frames[0]);
        ASSERT_TRUE(first.ok());
        EXPECT_EQ(first->type, row.sessionRequest ? SessionType::Request : SessionType::Message);
        if (row.sessionRequest) {
            EXPECT_EQ(first->called, (NetbiosName {"*SMBSERVER", 0x20, {}}));
        }
    }
}

TEST(Transport, LineBreaksCodePageAndBlocks)
{
    FakePeer peer({});
    const QString text = QStringLiteral("one\ntwo\rthree\n\rfour\r\nÉté à 5 € ") + QString(300, u'x');
    const std::string expected = "one\r\ntwo\r\nthree\r\nfour\r\n\x90t\x82 \x85 5 ? " + std::string(300, 'x');
    EXPECT_EQ(netMessageBufferSend(loopback(peer.port), QStringLiteral("localhost"), QStringLiteral("alice"), text), 0);
    peer.finish();

    ASSERT_EQ(peer.frames.size(), 2 + (expected.size() + 127) / 128 + 1);
    const auto session = parseSessionFrame(peer.frames[0]);
    ASSERT_TRUE(session.ok());
    EXPECT_EQ(session->called, (NetbiosName {"LOCALHOST", 0x03, {}}));
    EXPECT_EQ(session->calling, (NetbiosName {"ALICE", 0x00, {}}));
    std::vector<MessengerRequest> requests;
    for (size_t i = 1; i < peer.frames.size(); ++i) {
        const auto request = parseMessengerRequest(std::span(peer.frames[i]).subspan(kSessionHeaderSize));
        ASSERT_TRUE(request.ok()) << "frame " << i;
        requests.push_back(*request);
    }
    EXPECT_EQ(requests.front().header.command, SmbCommand::SendStart);
    EXPECT_EQ(requests.front().from, "alice");
    EXPECT_EQ(requests.front().to, "localhost");
    EXPECT_EQ(requests.back().header.command, SmbCommand::SendEnd);
    std::string received;
    for (size_t i = 1; i < requests.size(); ++i) {
        EXPECT_EQ(requests[i].groupId, 0x1234) << "the group id of the D5 reply";
        if (i + 1 < requests.size()) {
            EXPECT_EQ(requests[i].header.command, SmbCommand::SendText);
            EXPECT_EQ(requests[i].text.size(), i + 2 < requests.size() ? 128u : expected.size() % 128);
            received += requests[i].text;
        }
    }
    EXPECT_EQ(received, expected);
}

} // namespace
