#include "messenger/Transport.h"

#include "messenger/Interfaces.h"
#include "messenger/NameQuery.h"
#include "messenger/Workgroup.h"
#include "messenger/codec/ResultCodes.h"
#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <unistd.h>

namespace pv {

using namespace codec;

namespace {

constexpr uint16_t kSessionServicePort = 139;
constexpr uint32_t kMaxReplyLength = 0xFFFF; // a reply is a few dozen bytes

using Clock = std::chrono::steady_clock;

struct Outcome
{
    int code = netapi::Success;
    std::string detail;
    bool calledNameRefused = false; // negative session response: not listening on, or not present
};

std::string errnoText(int error)
{
    return systemErrorText(error);
}

std::string hex(unsigned value, int width = 0)
{
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", width, value);
    return text;
}

std::string commandName(SmbCommand command)
{
    return hex(unsigned(command));
}

std::string statusText(const SmbStatus& status)
{
    return status.ntForm
               ? "NTSTATUS 0x" + hex(status.ntStatus, 8)
               : "error class " + std::to_string(status.errorClass) + ", code " + std::to_string(status.errorCode);
}

// Every line break (CR LF, LF CR, CR, LF) as CR LF: what smbclient sends and smbd turns back into LF.
std::string withCrLf(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c != '\r' && c != '\n') {
            out += c;
            continue;
        }
        if (i + 1 < text.size() && (text[i + 1] == '\r' || text[i + 1] == '\n') && text[i + 1] != c) {
            ++i;
        }
        out += "\r\n";
    }
    return out;
}

int remainingMs(Clock::time_point until)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
    return int(std::clamp<int64_t>(left, 0, 60000));
}

Clock::time_point deadline(int timeoutMs)
{
    return Clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
}

// A blocking TCP client whose every step has its own time-out.
class Connection
{
public:
    ~Connection()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }

    Outcome open(uint32_t ip, uint16_t port, int timeoutMs)
    {
        const std::string where = ipv4ToText(ip) + ':' + std::to_string(port) + ": ";
        m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (m_fd < 0) {
            return {netapi::NotEnoughMemory, "cannot open a TCP socket: " + errnoText(errno)};
        }
        const int yes = 1;
        ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        sockaddr_in to {};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(ip);
        int error = 0;
        if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
            error = errno;
        }
        if (error == EINPROGRESS) {
            if (!waitFor(POLLOUT, deadline(timeoutMs))) {
                return {netapi::NameNotFound, where + "no connection within " + std::to_string(timeoutMs) + " ms"};
            }
            socklen_t size = sizeof error;
            ::getsockopt(m_fd, SOL_SOCKET, SO_ERROR, &error, &size);
        }
        if (error != 0) {
            return {netapi::NameNotFound, where + errnoText(error)};
        }
        return {};
    }

    // Writes the whole packet; an empty text when done, else the reason.
    std::string write(std::span<const uint8_t> packet, int timeoutMs)
    {
        const auto until = deadline(timeoutMs);
        while (!packet.empty()) {
            const ssize_t n = ::send(m_fd, packet.data(), packet.size(), MSG_NOSIGNAL);
            if (n > 0) {
                packet = packet.subspan(size_t(n));
            } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
                return errnoText(errno);
            } else if (!waitFor(POLLOUT, until)) {
                return "cannot send within " + std::to_string(timeoutMs) + " ms";
            }
        }
        return {};
    }

    // The next session frame other than a keep-alive, read whole before the time-out. Its payload points into
    // this connection's buffer until the next read.
    std::optional<SessionFrame> read(int timeoutMs, std::string* why)
    {
        const auto until = deadline(timeoutMs);
        for (;;) {
            m_frame.clear();
            for (;;) {
                const auto needed = sessionBytesNeeded(m_frame, kMaxReplyLength);
                if (!needed) {
                    *why = std::string("malformed session packet: ") + codecErrorText(needed.error());
                    return std::nullopt;
                }
                if (*needed == 0) {
                    break;
                }
                const size_t had = m_frame.size();
                m_frame.resize(had + *needed);
                if (!readExactly(std::span(m_frame).subspan(had), until, timeoutMs, why)) {
                    return std::nullopt;
                }
            }
            auto frame = parseSessionFrame(m_frame, kMaxReplyLength);
            if (!frame) {
                *why = std::string("malformed session packet: ") + codecErrorText(frame.error());
                return std::nullopt;
            }
            if (frame->type != SessionType::KeepAlive) {
                return *frame;
            }
        }
    }

private:
    bool waitFor(short events, Clock::time_point until) const
    {
        for (;;) {
            pollfd wait {m_fd, events, 0};
            const int ready = ::poll(&wait, 1, remainingMs(until));
            if (ready < 0 && errno == EINTR) {
                continue;
            }
            return ready > 0;
        }
    }

    bool readExactly(std::span<uint8_t> into, Clock::time_point until, int timeoutMs, std::string* why)
    {
        while (!into.empty()) {
            const ssize_t n = ::recv(m_fd, into.data(), into.size(), 0);
            if (n > 0) {
                into = into.subspan(size_t(n));
            } else if (n == 0) {
                *why = "the peer closed the connection";
                return false;
            } else if (errno != EAGAIN && errno != EINTR) {
                *why = errnoText(errno);
                return false;
            } else if (!waitFor(POLLIN, until)) {
                *why = "no reply within " + std::to_string(timeoutMs) + " ms";
                return false;
            }
        }
        return true;
    }

    int m_fd = -1;
    std::vector<uint8_t> m_frame;
};

// Sends one SMB and reads its reply; the group id of a D5 reply goes to groupId.
Outcome exchange(Connection& connection,
                 const MessengerRequest& request,
                 int timeoutMs,
                 std::optional<uint16_t>* groupId = nullptr)
{
    const SmbCommand command = request.header.command;
    const std::string name = commandName(command);
    const auto smb = buildMessengerRequest(request);
    const auto packet = smb ? buildSessionMessage(*smb) : Result<std::vector<uint8_t>>(smb.error());
    if (!packet) {
        return {netapi::InvalidParameter, name + ": " + codecErrorText(packet.error())};
    }
    if (const std::string why = connection.write(*packet, timeoutMs); !why.empty()) {
        return {netapi::NetworkError, "sending " + name + ": " + why};
    }
    std::string why;
    const auto frame = connection.read(timeoutMs, &why);
    if (!frame) {
        return {netapi::NetworkError, "reply to " + name + ": " + why};
    }
    if (frame->type != SessionType::Message) {
        return {netapi::NetworkError, "reply to " + name + ": session packet 0x" + hex(unsigned(frame->type))};
    }
    const auto reply = parseMessengerReply(frame->payload, command);
    if (!reply) {
        return {netapi::NetworkError, "reply to " + name + ": " + codecErrorText(reply.error())};
    }
    if (const int code = resultFromSmbStatus(reply->header.status); code != netapi::Success) {
        return {code, name + " refused: " + statusText(reply->header.status)};
    }
    if (groupId != nullptr) {
        *groupId = reply->groupId;
    }
    return {};
}

Outcome sendSession(const SendOptions& options,
                    uint32_t ip,
                    const NetbiosName& called,
                    const NetbiosName& calling,
                    const MessengerRequest& start,
                    const std::string& body)
{
    Connection connection;
    if (Outcome opened = connection.open(ip, options.port, options.connectTimeoutMs); opened.code != netapi::Success) {
        return opened;
    }
    if (options.port == kSessionServicePort || options.sessionRequest) {
        const auto request = buildSessionRequest(called, calling);
        if (!request) {
            return {netapi::InvalidName, codecErrorText(request.error())};
        }
        std::string why = connection.write(*request, options.replyTimeoutMs);
        const auto answer = why.empty() ? connection.read(options.replyTimeoutMs, &why) : std::nullopt;
        if (!answer) {
            return {netapi::NetworkError, "session request: " + why};
        }
        if (answer->type == SessionType::Negative) {
            return {resultFromNegativeSession(answer->errorCode),
                    "negative session response 0x" + hex(answer->errorCode, 2),
                    answer->errorCode == 0x80 || answer->errorCode == 0x82};
        }
        if (answer->type != SessionType::Positive) {
            return {netapi::NetworkError, "session request answered by packet type 0x" + hex(unsigned(answer->type))};
        }
    }

    std::optional<uint16_t> groupId;
    if (Outcome started = exchange(connection, start, options.replyTimeoutMs, &groupId);
        started.code != netapi::Success) {
        return started;
    }
    MessengerRequest block;
    block.header.command = SmbCommand::SendText;
    block.groupId = groupId.value_or(0);
    // OEM code pages are single-byte: every block but the last is full.
    for (size_t at = 0; at < body.size(); at += kTextBlockMax) {
        block.text = body.substr(at, kTextBlockMax);
        if (Outcome sent = exchange(connection, block, options.replyTimeoutMs); sent.code != netapi::Success) {
            return sent;
        }
    }
    MessengerRequest end;
    end.header.command = SmbCommand::SendEnd;
    end.groupId = block.groupId;
    return exchange(connection, end, options.replyTimeoutMs);
}

size_t mailslotTextRoom(const std::string& from, const std::string& to)
{
    return kMailslotPayloadMax - std::min(kMailslotPayloadMax, from.size() + to.size() + 3);
}

Outcome broadcastToDomain(const SendOptions& options,
                          const NetbiosName& domain,
                          const NetbiosName& calling,
                          MailslotMessage message)
{
    // The whole payload must fit one mailslot write: a text cut here would be lost without a word.
    if (const size_t room = mailslotTextRoom(message.from, message.to); message.text.size() > room) {
        return {netapi::InvalidParameter,
                "the text takes " + std::to_string(message.text.size())
                    + " bytes, and a domain message from this sender holds " + std::to_string(room)};
    }
    std::replace(message.text.begin(), message.text.end(), '\0', '?');
    const auto mailslot = buildMessengerMailslot(message);
    if (!mailslot) {
        return {netapi::InvalidParameter, codecErrorText(mailslot.error())};
    }
    const auto interfaces = broadcastInterfaces();
    if (!interfaces) {
        return {netapi::BadNetPath, interfaces.error().text};
    }
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return {netapi::NotEnoughMemory, "cannot open a UDP socket: " + errnoText(errno)};
    }
    const int yes = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &yes, sizeof yes);
    Datagram datagram;
    datagram.type = DatagramType::DirectGroup;
    datagram.id = uint16_t(std::random_device {}());
    datagram.source = calling;
    datagram.destination = domain;
    datagram.userData = *mailslot;
    std::string sentOn;
    std::string why;
    for (const Ipv4Interface& i : *interfaces) {
        datagram.sourceIp = i.address;
        const auto packet = buildDatagram(datagram);
        sockaddr_in to {};
        to.sin_family = AF_INET;
        to.sin_port = htons(options.datagramPort);
        to.sin_addr.s_addr = htonl(i.broadcast);
        if (packet
            && ::sendto(fd, packet->data(), packet->size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to)
                   == ssize_t(packet->size())) {
            sentOn += (sentOn.empty() ? "" : ", ") + ipv4ToText(i.broadcast);
        } else {
            why = packet ? errnoText(errno) : std::string(codecErrorText(packet.error()));
        }
    }
    ::close(fd);
    if (sentOn.empty()) {
        return {netapi::BadNetPath, "cannot send the datagram: " + why};
    }
    return {netapi::Success, "datagram sent to " + sentOn};
}

Outcome send(const SendOptions& options, std::string_view station, std::string_view from, std::string_view text)
{
    if (text.empty()) {
        return {netapi::InvalidParameter, "the text is empty"};
    }
    // Unrepresentable characters become '?': a message is worth more than one character.
    const auto body = encodeOemText(withCrLf(text), options.codePage, '?');
    if (!body) {
        return {netapi::InvalidParameter, codecErrorText(body.error())};
    }

    const bool domain = station.ends_with('*');
    const std::string_view nameText = domain ? station.substr(0, station.size() - 1) : station;
    const auto name = netbiosNameFromText(nameText, domain ? kSuffixWorkstation : kSuffixMessenger, options.codePage);
    if (nameText.empty() || !name) {
        return {netapi::InvalidName,
                '"' + std::string(station) + "\" cannot be a NetBIOS name"
                    + (name ? std::string() : std::string(": ") + codecErrorText(name.error()))};
    }
    const std::string fromText = from.empty() ? localStationName() : std::string(from);
    const auto calling = netbiosNameFromText(fromText, kSuffixWorkstation, options.codePage);
    if (!calling) {
        return {netapi::InvalidParameter,
                "the sender \"" + fromText + "\" cannot be a NetBIOS name: " + codecErrorText(calling.error())};
    }
    // The names are as given (smbclient keeps the case); validated above, they encode.
    MessengerRequest start;
    start.header.command = SmbCommand::SendStart;
    start.from = encodeOemText(fromText, options.codePage, '?').value();
    start.to = encodeOemText(station, options.codePage, '?').value();
    if (domain) {
        return broadcastToDomain(options, *name, *calling, {start.from, start.to, *body});
    }
    if (body->size() > size_t(kMaxMessageBytes)) {
        return {netapi::InvalidParameter,
                "the text takes " + std::to_string(body->size()) + " bytes, more than "
                    + std::to_string(kMaxMessageBytes)};
    }

    // A name is called as its messenger NAME<03>, an address as *SMBSERVER, the name any SMB server takes.
    if (const std::optional<uint32_t> ip = ipv4FromText(station)) {
        Outcome outcome = sendSession(options, *ip, {"*SMBSERVER", kSuffixServer, {}}, *calling, start, *body);
        if (!outcome.calledNameRefused) {
            return outcome;
        }
        // A messenger service that takes only its own names (an older one): its node status tells them.
        const uint32_t address[] = {*ip};
        const NameQueryOptions asked {options.nameServicePort, std::min(options.resolveTimeoutMs, 1000), 2, true};
        const auto status = nodeStatus(address, asked).value_or({});
        if (const auto held = status.find(*ip); held != status.end()) {
            for (const auto& entry : held->second) {
                if (entry.name.suffix == kSuffixMessenger && !(entry.flags & kNbGroup)) {
                    start.to = entry.name.name;
                    return sendSession(options, *ip, entry.name, *calling, start, *body);
                }
            }
        }
        return outcome;
    }
    StationLookup lookup;
    lookup.timeoutMs = options.resolveTimeoutMs;
    lookup.nameServicePort = options.nameServicePort;
    lookup.winsServers = winsServers();
    lookup.codePage = options.codePage;
    const auto ip = resolveStation(*name, station, lookup);
    if (!ip) {
        return {ip.error().code, ip.error().text};
    }
    return sendSession(options, *ip, *name, *calling, start, *body);
}

} // namespace

uint16_t defaultSmbPort()
{
    const char* text = std::getenv("PILVANOR_SMB_PORT");
    char* end = nullptr;
    const unsigned long port = text != nullptr ? std::strtoul(text, &end, 10) : 0;
    return text != nullptr && *text >= '0' && *text <= '9' && *end == '\0' && port > 0 && port <= 0xFFFF
               ? uint16_t(port)
               : kSessionServicePort;
}

bool isValidSenderName(std::string_view from, OemCodePage codePage)
{
    return netbiosNameFromText(from.empty() ? localStationName() : std::string(from), kSuffixWorkstation, codePage)
        .ok();
}

size_t domainTextRoom(std::string_view station, std::string_view from, OemCodePage codePage)
{
    // Both as send() puts them in the datagram.
    const auto fromBytes = encodeOemText(from.empty() ? localStationName() : std::string(from), codePage, '?');
    const auto toBytes = encodeOemText(station, codePage, '?');
    return fromBytes && toBytes ? mailslotTextRoom(*fromBytes, *toBytes) : 0;
}

Status
netMessageBufferSend(const SendOptions& options, std::string_view station, std::string_view from, std::string_view text)
{
    Outcome outcome = send(options, station, from, text);
    if (outcome.code == netapi::Success) {
        return success();
    }
    return Failure {outcome.code, std::move(outcome.detail)};
}

const char* netMessageResultText(int code)
{
    switch (code) {
    case netapi::Success:
        return "the operation completed successfully";
    case netapi::AccessDenied:
        return "access is denied";
    case netapi::NotEnoughMemory:
        return "not enough storage is available to process this command";
    case 14:
        return "not enough storage is available to complete this operation";
    case netapi::NotSupported:
        return "the request is not supported";
    case netapi::BadNetPath:
        return "the network path was not found";
    case netapi::InvalidParameter:
        return "the parameter is incorrect";
    case netapi::InvalidName:
        return "the name syntax is incorrect";
    case netapi::NetworkError:
        return "a general network error occurred";
    case netapi::UseNotFound:
        return "the network connection could not be found";
    case netapi::NameNotFound:
        return "the message alias could not be found on the network";
    case netapi::PausedRemote:
        return "the message was sent, but the recipient has paused the Messenger service";
    case netapi::BadReceive:
        return "the message was sent but not received";
    default:
        return "unknown error";
    }
}

std::string localStationName()
{
    char buffer[256] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0) {
        return {};
    }
    const std::string label = toUpperText(std::string_view(buffer).substr(0, std::string_view(buffer).find('.')));
    // At most 15 characters, cut between two of them.
    size_t end = 0;
    for (size_t count = 0; end < label.size() && count < kNetbiosNameMax; ++count) {
        do {
            ++end;
        } while (end < label.size() && (static_cast<uint8_t>(label[end]) & 0xC0) == 0x80);
    }
    return label.substr(0, end);
}

} // namespace pv
