#include "messenger/Transport.h"

#include "messenger/Interfaces.h"
#include "messenger/NameQuery.h"
#include "messenger/codec/ResultCodes.h"

#include <QDeadlineTimer>
#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace pv {

using namespace codec;

namespace {

constexpr uint16_t kSessionServicePort = 139;
constexpr uint32_t kMaxReplyLength = 0xFFFF; // a reply is a few dozen bytes

struct Outcome
{
    int code = netapi::Success;
    QString detail;
    bool calledNameRefused = false; // negative session response: not listening on, or not present
};

QString errnoText(int error)
{
    return QString::fromLocal8Bit(strerror(error));
}

QString commandName(SmbCommand command)
{
    return QString::number(int(command), 16).toUpper();
}

QString statusText(const SmbStatus& status)
{
    return status.ntForm ? QStringLiteral("NTSTATUS 0x%1").arg(status.ntStatus, 8, 16, QChar(u'0'))
                         : QStringLiteral("error class %1, code %2").arg(status.errorClass).arg(status.errorCode);
}

// Every line break (CR LF, LF CR, CR, LF) as CR LF: what smbclient sends and smbd turns back into LF.
QString withCrLf(const QString& text)
{
    QString out;
    out.reserve(text.size() + text.size() / 8);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c != u'\r' && c != u'\n') {
            out += c;
            continue;
        }
        if (i + 1 < text.size() && (text[i + 1] == u'\r' || text[i + 1] == u'\n') && text[i + 1] != c) {
            ++i;
        }
        out += QLatin1String("\r\n");
    }
    return out;
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
        const QString where = QStringLiteral("%1:%2: ").arg(ipv4ToText(ip)).arg(port);
        m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (m_fd < 0) {
            return {netapi::NotEnoughMemory, QStringLiteral("cannot open a TCP socket: ") + errnoText(errno)};
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
            if (!waitFor(POLLOUT, QDeadlineTimer(std::max(timeoutMs, 0)))) {
                return {netapi::NameNotFound, where + QStringLiteral("no connection within %1 ms").arg(timeoutMs)};
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
    QString write(std::span<const uint8_t> packet, int timeoutMs)
    {
        const QDeadlineTimer until(std::max(timeoutMs, 0));
        while (!packet.empty()) {
            const ssize_t n = ::send(m_fd, packet.data(), packet.size(), MSG_NOSIGNAL);
            if (n > 0) {
                packet = packet.subspan(size_t(n));
            } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
                return errnoText(errno);
            } else if (!waitFor(POLLOUT, until)) {
                return QStringLiteral("cannot send within %1 ms").arg(timeoutMs);
            }
        }
        return {};
    }

    // The next session frame other than a keep-alive, read whole before the time-out. Its payload points into
    // this connection's buffer until the next read.
    std::optional<SessionFrame> read(int timeoutMs, QString* why)
    {
        const QDeadlineTimer until(std::max(timeoutMs, 0));
        for (;;) {
            m_frame.clear();
            for (;;) {
                const auto needed = sessionBytesNeeded(m_frame, kMaxReplyLength);
                if (!needed) {
                    *why = QStringLiteral("malformed session packet: ") + QLatin1String(codecErrorText(needed.error()));
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
                *why = QStringLiteral("malformed session packet: ") + QLatin1String(codecErrorText(frame.error()));
                return std::nullopt;
            }
            if (frame->type != SessionType::KeepAlive) {
                return *frame;
            }
        }
    }

private:
    bool waitFor(short events, const QDeadlineTimer& until) const
    {
        for (;;) {
            pollfd wait {m_fd, events, 0};
            const int ready = ::poll(&wait, 1, int(std::min<qint64>(until.remainingTime(), 60000)));
            if (ready < 0 && errno == EINTR) {
                continue;
            }
            return ready > 0;
        }
    }

    bool readExactly(std::span<uint8_t> into, const QDeadlineTimer& until, int timeoutMs, QString* why)
    {
        while (!into.empty()) {
            const ssize_t n = ::recv(m_fd, into.data(), into.size(), 0);
            if (n > 0) {
                into = into.subspan(size_t(n));
            } else if (n == 0) {
                *why = QStringLiteral("the peer closed the connection");
                return false;
            } else if (errno != EAGAIN && errno != EINTR) {
                *why = errnoText(errno);
                return false;
            } else if (!waitFor(POLLIN, until)) {
                *why = QStringLiteral("no reply within %1 ms").arg(timeoutMs);
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
    const QString name = commandName(command);
    const auto smb = buildMessengerRequest(request);
    const auto packet = smb ? buildSessionMessage(*smb) : Result<std::vector<uint8_t>>(smb.error());
    if (!packet) {
        return {netapi::InvalidParameter, name + QStringLiteral(": ") + QLatin1String(codecErrorText(packet.error()))};
    }
    if (const QString why = connection.write(*packet, timeoutMs); !why.isEmpty()) {
        return {netapi::NetworkError, QStringLiteral("sending %1: %2").arg(name, why)};
    }
    QString why;
    const auto frame = connection.read(timeoutMs, &why);
    if (!frame) {
        return {netapi::NetworkError, QStringLiteral("reply to %1: %2").arg(name, why)};
    }
    if (frame->type != SessionType::Message) {
        return {netapi::NetworkError,
                QStringLiteral("reply to %1: session packet 0x%2").arg(name).arg(int(frame->type), 0, 16)};
    }
    const auto reply = parseMessengerReply(frame->payload, command);
    if (!reply) {
        return {netapi::NetworkError,
                QStringLiteral("reply to %1: %2").arg(name, QLatin1String(codecErrorText(reply.error())))};
    }
    if (const int code = resultFromSmbStatus(reply->header.status); code != netapi::Success) {
        return {code, QStringLiteral("%1 refused: %2").arg(name, statusText(reply->header.status))};
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
            return {netapi::InvalidName, QLatin1String(codecErrorText(request.error()))};
        }
        QString why = connection.write(*request, options.replyTimeoutMs);
        const auto answer = why.isEmpty() ? connection.read(options.replyTimeoutMs, &why) : std::nullopt;
        if (!answer) {
            return {netapi::NetworkError, QStringLiteral("session request: ") + why};
        }
        if (answer->type == SessionType::Negative) {
            return {resultFromNegativeSession(answer->errorCode),
                    QStringLiteral("negative session response 0x%1").arg(answer->errorCode, 2, 16, QChar(u'0')),
                    answer->errorCode == 0x80 || answer->errorCode == 0x82};
        }
        if (answer->type != SessionType::Positive) {
            return {netapi::NetworkError,
                    QStringLiteral("session request answered by packet type 0x%1").arg(int(answer->type), 0, 16)};
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
                QStringLiteral("the text takes %1 bytes, and a domain message from this sender holds %2")
                    .arg(message.text.size())
                    .arg(room)};
    }
    std::replace(message.text.begin(), message.text.end(), '\0', '?');
    const auto mailslot = buildMessengerMailslot(message);
    if (!mailslot) {
        return {netapi::InvalidParameter, QLatin1String(codecErrorText(mailslot.error()))};
    }
    QString why;
    const std::vector<Ipv4Interface> interfaces = broadcastInterfaces(&why);
    if (interfaces.empty()) {
        return {netapi::BadNetPath,
                why.isEmpty() ? QStringLiteral("no network interface with a broadcast address") : why};
    }
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return {netapi::NotEnoughMemory, QStringLiteral("cannot open a UDP socket: ") + errnoText(errno)};
    }
    const int yes = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &yes, sizeof yes);
    Datagram datagram;
    datagram.type = DatagramType::DirectGroup;
    datagram.id = uint16_t(QRandomGenerator::global()->generate());
    datagram.source = calling;
    datagram.destination = domain;
    datagram.userData = *mailslot;
    QStringList sentOn;
    for (const Ipv4Interface& i : interfaces) {
        datagram.sourceIp = i.address;
        const auto packet = buildDatagram(datagram);
        sockaddr_in to {};
        to.sin_family = AF_INET;
        to.sin_port = htons(options.datagramPort);
        to.sin_addr.s_addr = htonl(i.broadcast);
        if (packet
            && ::sendto(fd, packet->data(), packet->size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to)
                   == ssize_t(packet->size())) {
            sentOn.append(ipv4ToText(i.broadcast));
        } else {
            why = packet ? errnoText(errno) : QLatin1String(codecErrorText(packet.error()));
        }
    }
    ::close(fd);
    if (sentOn.isEmpty()) {
        return {netapi::BadNetPath, QStringLiteral("cannot send the datagram: ") + why};
    }
    return {netapi::Success, QStringLiteral("datagram sent to ") + sentOn.join(QStringLiteral(", "))};
}

Outcome send(const SendOptions& options, const QString& station, const QString& from, const QString& text)
{
    if (text.isEmpty()) {
        return {netapi::InvalidParameter, QStringLiteral("the text is empty")};
    }
    // Unrepresentable characters become '?': a message is worth more than one character.
    const auto body = encodeOemText(withCrLf(text), options.codePage, '?');
    if (!body) {
        return {netapi::InvalidParameter, QLatin1String(codecErrorText(body.error()))};
    }

    const bool domain = station.endsWith(u'*');
    const QString nameText = domain ? station.chopped(1) : station;
    const auto name = netbiosNameFromText(nameText, domain ? kSuffixWorkstation : kSuffixMessenger, options.codePage);
    if (nameText.isEmpty() || !name) {
        return {
            netapi::InvalidName,
            QStringLiteral("\"%1\" cannot be a NetBIOS name%2")
                .arg(station, name ? QString() : QStringLiteral(": ") + QLatin1String(codecErrorText(name.error())))};
    }
    const QString fromText = from.isEmpty() ? localStationName() : from;
    const auto calling = netbiosNameFromText(fromText, kSuffixWorkstation, options.codePage);
    if (!calling) {
        return {netapi::InvalidParameter,
                QStringLiteral("the sender \"%1\" cannot be a NetBIOS name: %2")
                    .arg(fromText, QLatin1String(codecErrorText(calling.error())))};
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
                QStringLiteral("the text takes %1 bytes, more than %2").arg(body->size()).arg(kMaxMessageBytes)};
    }

    // A name is called as its messenger NAME<03>, an address as *SMBSERVER, the name any SMB server takes.
    std::optional<uint32_t> ip = ipv4FromText(station);
    if (ip) {
        Outcome outcome = sendSession(options, *ip, {"*SMBSERVER", kSuffixServer, {}}, *calling, start, *body);
        if (!outcome.calledNameRefused) {
            return outcome;
        }
        // A messenger service answers only to its own names: its node status tells them.
        const uint32_t address[] = {*ip};
        const NameQueryOptions asked {options.nameServicePort, qMin(options.resolveTimeoutMs, 1000), 2, true};
        for (const auto& entry : nodeStatus(address, asked)[*ip]) {
            if (entry.name.suffix == kSuffixMessenger && !(entry.flags & kNbGroup)) {
                start.to = entry.name.name;
                return sendSession(options, *ip, entry.name, *calling, start, *body);
            }
        }
        return outcome;
    }
    QString why;
    ip = resolveStation(*name, station, options.resolveTimeoutMs, options.nameServicePort, &why);
    if (!ip) {
        return {netapi::NameNotFound,
                QStringLiteral("%1: unknown to the resolver, and no answer to a NetBIOS query for %2<03> or <00>%3")
                    .arg(station,
                         decodeOemText(name->name, options.codePage),
                         why.isEmpty() ? QString() : QStringLiteral(" (") + why + u')')};
    }
    return sendSession(options, *ip, *name, *calling, start, *body);
}

} // namespace

uint16_t defaultSmbPort()
{
    bool ok = false;
    const uint port = qEnvironmentVariable("PILVANOR_SMB_PORT").toUInt(&ok);
    return ok && port > 0 && port <= 0xFFFF ? uint16_t(port) : kSessionServicePort;
}

bool isValidSenderName(const QString& from, OemCodePage codePage)
{
    return netbiosNameFromText(from.isEmpty() ? localStationName() : from, kSuffixWorkstation, codePage).ok();
}

size_t domainTextRoom(const QString& station, const QString& from, OemCodePage codePage)
{
    // Both as send() puts them in the datagram.
    const auto fromBytes = encodeOemText(from.isEmpty() ? localStationName() : from, codePage, '?');
    const auto toBytes = encodeOemText(station, codePage, '?');
    return fromBytes && toBytes ? mailslotTextRoom(*fromBytes, *toBytes) : 0;
}

int netMessageBufferSend(
    const SendOptions& options, const QString& station, const QString& from, const QString& text, QString* detail)
{
    Outcome outcome = send(options, station, from, text);
    if (detail != nullptr) {
        *detail = outcome.detail;
    }
    return outcome.code;
}

QString netMessageResultText(int code)
{
    switch (code) {
    case netapi::Success:
        return QStringLiteral("the operation completed successfully");
    case netapi::AccessDenied:
        return QStringLiteral("access is denied");
    case netapi::NotEnoughMemory:
        return QStringLiteral("not enough storage is available to process this command");
    case 14:
        return QStringLiteral("not enough storage is available to complete this operation");
    case netapi::NotSupported:
        return QStringLiteral("the request is not supported");
    case netapi::BadNetPath:
        return QStringLiteral("the network path was not found");
    case netapi::InvalidParameter:
        return QStringLiteral("the parameter is incorrect");
    case netapi::InvalidName:
        return QStringLiteral("the name syntax is incorrect");
    case netapi::NetworkError:
        return QStringLiteral("a general network error occurred");
    case netapi::UseNotFound:
        return QStringLiteral("the network connection could not be found");
    case netapi::NameNotFound:
        return QStringLiteral("the message alias could not be found on the network");
    case netapi::PausedRemote:
        return QStringLiteral("the message was sent, but the recipient has paused the Messenger service");
    case netapi::BadReceive:
        return QStringLiteral("the message was sent but not received");
    default:
        return QStringLiteral("unknown error");
    }
}

QString localStationName()
{
    char buffer[256] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0) {
        return {};
    }
    return QString::fromLocal8Bit(buffer).section(u'.', 0, 0).toUpper().left(int(kNetbiosNameMax));
}

} // namespace pv
