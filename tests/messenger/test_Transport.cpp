#include "Bytes.h"

#include "messenger/Transport.h"
#include "messenger/codec/ResultCodes.h"

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

enum class Fault { None, Status, Negative, Malformed, Close, Silent, KeepAlive, Refused };

// What the fake peer does wrong, and when: `at` counts the SMB requests (0 = D5).
struct Script
{
    Fault fault = Fault::None;
    int at = 0;
    SmbStatus status {};
    uint8_t negative = 0;
};

// A peer on 127.0.0.1 for one connection, which records each frame it answers and answers as its script says. Every
// wait ends with the socket's receive time-out.
class FakePeer
{
public:
    explicit FakePeer(Script script = {})
        : m_script(script)
    {
        sockaddr_in here {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof here;
        const timeval wait {3, 0};
        ::setsockopt(m_listener, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&here), size);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&here), &size);
        port = ntohs(here.sin_port);
        if (script.fault != Fault::Refused && ::listen(m_listener, 1) == 0) {
            m_thread = std::jthread([this] { serve(::accept(m_listener, nullptr, nullptr)); });
        }
    }
    ~FakePeer() { ::close(m_listener); }

    // What it received, once the sender is done (once only).
    const std::vector<Bytes>& frames()
    {
        m_thread.join();
        return m_frames;
    }

    uint16_t port = 0;

private:
    void serve(int fd)
    {
        Bytes frame(4); // a session header, then its payload
        for (int smb = 0; ::recv(fd, frame.data(), 4, MSG_WAITALL) == 4; frame.resize(4)) {
            frame.resize(4 + size_t((frame[1] & 1) << 16 | frame[2] << 8 | frame[3]));
            const Fault fault = frame[0] != 0x81 && smb++ == m_script.at ? m_script.fault : Fault::None;
            if (::recv(fd, frame.data() + 4, frame.size() - 4, MSG_WAITALL) != ssize_t(frame.size() - 4)
                || fault == Fault::Close) {
                break;
            }
            m_frames.push_back(frame);
            Bytes out;
            if (frame[0] == 0x81) {
                out = m_script.fault == Fault::Negative ? buildNegativeSessionResponse(m_script.negative)
                                                        : buildPositiveSessionResponse();
            } else if (fault == Fault::Malformed) {
                out = hex("00 00 00 06 FF 'SMX' D5 00");
            } else if (fault != Fault::Silent) {
                const auto request = parseMessengerRequest(std::span(frame).subspan(kSessionHeaderSize));
                ASSERT_TRUE(request.ok());
                const bool start = request->header.command == SmbCommand::SendStart;
                out = *buildSessionMessage(
                    buildMessengerReply(request->header,
                                        fault == Fault::Status ? m_script.status : SmbStatus::success(),
                                        start ? std::optional<uint16_t>(0x1234) : std::nullopt));
                if (fault == Fault::KeepAlive) {
                    out.insert(out.begin(), {0x85, 0, 0, 0});
                }
            }
            ::send(fd, out.data(), out.size(), MSG_NOSIGNAL);
        }
        ::close(fd);
    }

    Script m_script;
    int m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::vector<Bytes> m_frames;
    std::jthread m_thread;
};

// netMessageBufferSend to a port of 127.0.0.1, every wait 300 ms.
int send(
    uint16_t port, const char* to, const char* from, const std::string& text, std::string* detail, bool session = true)
{
    SendOptions options {.port = port, .sessionRequest = session};
    options.resolveTimeoutMs = options.connectTimeoutMs = options.replyTimeoutMs = 300;
    const Status sent = netMessageBufferSend(options, to, from, text);
    if (detail != nullptr) {
        *detail = sent.errorText();
    }
    return sent.code();
}

// The rules of NetBIOS names are the codec's, tested there; these are what the transport adds around them.
TEST(Transport, InvalidNamesAndTexts)
{
    const std::tuple<const char*, const char*, std::string, int> table[] = {
        // station, from, text, result (2273: valid, and nothing listens)
        {"", "alice", "hi", 123},
        {"*", "alice", "hi", 123},
        {"ABCDEFGHIJKLMNOP", "alice", "hi", 123},
        {"127.0.0.1", "alice", "", 87},
        {"127.0.0.1", "AL*CE", "hi", 87},
        {"127.0.0.1", "alice", std::string(kMaxMessageBytes, 'x'), 2273},
        {"127.0.0.1", "alice", std::string(kMaxMessageBytes + 1, 'x'), 87},
        {"127.0.0.1", "alice", std::string(kMaxMessageBytes / 2 + 1, '\n'), 87}, // two bytes per line break
        {"localhost", "", "hi", 2273},
    };
    FakePeer nobody({Fault::Refused});
    for (const auto& [station, from, text, expected] : table) {
        SCOPED_TRACE(testing::Message() << station << " / " << from << " / " << text.size());
        std::string detail;
        EXPECT_EQ(send(nobody.port, station, from, text, &detail), expected);
        EXPECT_FALSE(detail.empty());
    }
}

// How a status becomes a result is tested with the result codes; here, that each step hands it on.
TEST(Transport, PeerBehaviourGivesResult)
{
    const std::tuple<const char*, Script, bool, int> table[] = {
        // what, script, session request, result
        {"delivered", {}, true, 0},
        {"delivered without session request, a keep-alive before a reply", {Fault::KeepAlive, 1}, false, 0},
        {"ERRDOS/71 on D5", {Fault::Status, 0, SmbStatus::dos(kErrDos, 71)}, true, 2273},
        {"ERRSRV/83 on D7", {Fault::Status, 1, SmbStatus::dos(kErrSrv, 83)}, true, 8},
        {"ERRSRV/81 on D6", {Fault::Status, 2, SmbStatus::dos(kErrSrv, 81)}, true, 2281},
        {"negative session 0x82", {Fault::Negative, 0, {}, 0x82}, true, 2273},
        {"negative session 0x81", {Fault::Negative, 0, {}, 0x81}, true, 5},
        {"malformed reply", {Fault::Malformed, 1}, true, 2136},
        {"closed mid-way", {Fault::Close, 1}, true, 2136},
        {"silent past the time-out", {Fault::Silent, 2}, true, 2136},
    };
    for (const auto& [what, script, sessionRequest, expected] : table) {
        SCOPED_TRACE(what);
        FakePeer peer(script);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
        std::string detail;
        EXPECT_EQ(send(peer.port, "127.0.0.1", "alice", "hi", &detail, sessionRequest), expected) << detail;
        EXPECT_LT(std::chrono::steady_clock::now(), limit);
        // An address is called as *SMBSERVER, which any server accepts.
        const auto first = parseSessionFrame(peer.frames().at(0));
        ASSERT_TRUE(first.ok());
        EXPECT_EQ(first->type, sessionRequest ? SessionType::Request : SessionType::Message);
        EXPECT_TRUE(!sessionRequest || first->called == (NetbiosName {"*SMBSERVER", 0x20, {}}));
    }
}

// Line breaks, code page and blocks also reach smbd in the interop tests; not what smbd ignores: the group id of
// the D5 reply in every D7 and D6, and '?' for what the code page lacks.
TEST(Transport, BlocksCarryTheGroupId)
{
    FakePeer peer;
    EXPECT_EQ(send(peer.port, "localhost", "alice", "Été 5 €\n" + std::string(300, 'x'), nullptr), 0);
    const std::vector<Bytes>& frames = peer.frames();
    ASSERT_EQ(frames.size(), 6u); // session request, D5, three D7, D6
    EXPECT_EQ(parseSessionFrame(frames[0])->called, (NetbiosName {"LOCALHOST", 0x03, {}}));
    std::string received;
    for (size_t i = 2; i < frames.size(); ++i) {
        const auto request = parseMessengerRequest(std::span(frames[i]).subspan(kSessionHeaderSize));
        ASSERT_TRUE(request.ok()) << "frame " << i;
        EXPECT_EQ(request->groupId, 0x1234) << "frame " << i;
        received += request->text;
        EXPECT_TRUE(i == 5 || request->text.size() == (i < 4 ? 128u : 53u)) << "frame " << i;
    }
    EXPECT_EQ(received, "\x90t\x82 5 ?\r\n" + std::string(300, 'x'));
}

} // namespace
