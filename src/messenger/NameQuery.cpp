#include "messenger/NameQuery.h"

#include "messenger/Interfaces.h"

#include <QElapsedTimer>
#include <QRandomGenerator>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace pv {

namespace {

void setError(QString* error, const QString& text)
{
    if (error != nullptr) {
        *error = text;
    }
}

QString systemError(const char* what)
{
    return QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(strerror(errno)));
}

class UdpSocket
{
public:
    UdpSocket()
        : m_fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const int yes = 1;
        if (m_fd >= 0) {
            ::setsockopt(m_fd, SOL_SOCKET, SO_BROADCAST, &yes, sizeof yes);
        }
    }
    ~UdpSocket()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    bool valid() const { return m_fd >= 0; }

    // A connected socket hears the peer's "port unreachable", so asking a host without a name service costs a
    // round trip instead of the whole time-out.
    void connectTo(uint32_t ip, uint16_t port)
    {
        sockaddr_in to {};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(ip);
        m_connected = ::connect(m_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    }
    bool refused() const { return m_refused; }

    bool send(std::span<const uint8_t> packet, uint32_t ip, uint16_t port) const
    {
        if (m_connected) {
            return ::send(m_fd, packet.data(), packet.size(), 0) == ssize_t(packet.size());
        }
        sockaddr_in to {};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(ip);
        return ::sendto(m_fd, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to)
               == ssize_t(packet.size());
    }

    // One datagram received before `endMs` on the clock, or an empty span once the time is up.
    std::span<const uint8_t> receive(const QElapsedTimer& clock, qint64 endMs)
    {
        for (;;) {
            pollfd wait {m_fd, POLLIN, 0};
            const int ready = ::poll(&wait, 1, int(std::clamp<qint64>(endMs - clock.elapsed(), 0, 60000)));
            if (ready < 0 && errno == EINTR) {
                continue;
            }
            if (ready <= 0) {
                return {};
            }
            const ssize_t n = ::recv(m_fd, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
            if (n > 0) {
                return {m_buffer.data(), size_t(n)};
            }
            if (n < 0 && errno == ECONNREFUSED) {
                m_refused = true;
                return {};
            }
        }
    }

private:
    int m_fd;
    bool m_connected = false;
    bool m_refused = false;
    std::vector<uint8_t> m_buffer = std::vector<uint8_t>(1500);
};

} // namespace

namespace {

// A broadcast query for each of `names` at once, each with its own transaction id: the addresses that answered
// each name, each once, in order of arrival. With options.firstAnswer it ends at the first answer for names[0],
// or at the end of the round in which another name was answered.
std::vector<std::vector<uint32_t>>
broadcastNameQueries(std::span<const codec::NetbiosName> names, const NameQueryOptions& options, QString* error)
{
    std::vector<std::vector<uint32_t>> found(names.size());
    QString why;
    const std::vector<Ipv4Interface> interfaces = broadcastInterfaces(&why);
    if (interfaces.empty()) {
        setError(error, why.isEmpty() ? QStringLiteral("no network interface with a broadcast address") : why);
        return found;
    }
    const auto firstId = uint16_t(QRandomGenerator::global()->generate());
    std::vector<std::vector<uint8_t>> queries;
    for (size_t n = 0; n < names.size(); ++n) {
        auto query = codec::buildNameQuery(uint16_t(firstId + n), names[n], true);
        if (!query) {
            setError(error, QString::fromLatin1(codec::codecErrorText(query.error())));
            return found;
        }
        queries.push_back(std::move(*query));
    }
    UdpSocket socket;
    if (!socket.valid()) {
        setError(error, systemError("cannot open a UDP socket"));
        return found;
    }
    const int attempts = std::max(options.attempts, 1);
    const qint64 wait = std::max(options.timeoutMs, 0);
    QElapsedTimer clock;
    clock.start();
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        for (const auto& query : queries) {
            for (const Ipv4Interface& i : interfaces) {
                socket.send(query, i.broadcast, options.port);
            }
        }
        const qint64 endMs = wait * attempt / attempts;
        for (auto packet = socket.receive(clock, endMs); !packet.empty(); packet = socket.receive(clock, endMs)) {
            const auto answer = codec::parseNameQueryResponse(packet);
            const size_t n = answer ? uint16_t(answer->id - firstId) : names.size();
            if (n >= names.size() || !answer->isPositive() || answer->name.name != names[n].name
                || answer->name.suffix != names[n].suffix) {
                continue;
            }
            // Each holder answers every copy of the query (nmbd even answers twice).
            for (const codec::NbAddress& a : answer->addresses) {
                if (std::find(found[n].begin(), found[n].end(), a.ip) == found[n].end()) {
                    found[n].push_back(a.ip);
                }
            }
            if (options.firstAnswer && n == 0) {
                return found;
            }
        }
        if (options.firstAnswer && std::any_of(found.begin(), found.end(), [](auto& f) { return !f.empty(); })) {
            return found;
        }
    }
    return found;
}

} // namespace

std::vector<uint32_t>
broadcastNameQuery(const codec::NetbiosName& name, const NameQueryOptions& options, QString* error)
{
    return broadcastNameQueries(std::span(&name, 1), options, error).front();
}

std::map<uint32_t, std::vector<codec::NodeStatusEntry>>
nodeStatus(std::span<const uint32_t> addresses, const NameQueryOptions& options, QString* error)
{
    std::map<uint32_t, std::vector<codec::NodeStatusEntry>> names;
    UdpSocket socket;
    if (!socket.valid()) {
        setError(error, systemError("cannot open a UDP socket"));
        return names;
    }
    // One transaction id per address, so that each answer is matched to its request.
    const auto firstId = uint16_t(QRandomGenerator::global()->generate());
    std::map<uint16_t, uint32_t> pending;
    for (size_t i = 0; i < addresses.size() && i < 0xFFFF; ++i) {
        pending[uint16_t(firstId + i)] = addresses[i];
    }
    if (addresses.size() == 1) {
        socket.connectTo(addresses[0], options.port);
    }
    const int attempts = std::max(options.attempts, 1);
    const qint64 wait = std::max(options.timeoutMs, 0);
    QElapsedTimer clock;
    clock.start();
    for (int attempt = 1; attempt <= attempts && !pending.empty() && !socket.refused(); ++attempt) {
        for (const auto& [id, ip] : pending) {
            if (const auto request = codec::buildNodeStatusRequest(id)) {
                socket.send(*request, ip, options.port);
            }
        }
        const qint64 endMs = wait * attempt / attempts;
        while (!pending.empty()) {
            const auto packet = socket.receive(clock, endMs);
            if (packet.empty()) {
                break;
            }
            const auto status = codec::parseNodeStatusResponse(packet);
            const auto asked = status ? pending.find(status->id) : pending.end();
            if (asked != pending.end()) {
                names[asked->second] = status->names;
                pending.erase(asked);
            }
        }
    }
    return names;
}

std::vector<uint32_t> resolveIpv4All(const QString& host, int timeoutMs)
{
    if (host.isEmpty() || host.contains(QChar(0))) {
        return {};
    }
    if (const auto literal = ipv4FromText(host)) {
        return {*literal};
    }
    // getaddrinfo has no time-out of its own: it runs on a thread that may outlive the wait.
    struct Lookup
    {
        std::mutex mutex;
        std::condition_variable done;
        bool finished = false;
        std::vector<uint32_t> addresses;
    };
    auto lookup = std::make_shared<Lookup>();
    try {
        std::thread([lookup, name = host.toUtf8()] {
            addrinfo hints {};
            hints.ai_family = AF_INET;
            hints.ai_socktype = SOCK_STREAM;
            addrinfo* list = nullptr;
            std::vector<uint32_t> addresses;
            if (::getaddrinfo(name.constData(), nullptr, &hints, &list) == 0) {
                for (const addrinfo* a = list; a != nullptr; a = a->ai_next) {
                    const uint32_t ip = ntohl(reinterpret_cast<const sockaddr_in*>(a->ai_addr)->sin_addr.s_addr);
                    if (std::find(addresses.begin(), addresses.end(), ip) == addresses.end()) {
                        addresses.push_back(ip);
                    }
                }
            }
            if (list != nullptr) {
                ::freeaddrinfo(list);
            }
            const std::lock_guard lock(lookup->mutex);
            lookup->addresses = std::move(addresses);
            lookup->finished = true;
            lookup->done.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        return {};
    }
    std::unique_lock lock(lookup->mutex);
    lookup->done.wait_for(lock, std::chrono::milliseconds(std::max(timeoutMs, 0)), [&] { return lookup->finished; });
    return lookup->addresses;
}

std::optional<uint32_t> resolveIpv4(const QString& host, int timeoutMs)
{
    const std::vector<uint32_t> all = resolveIpv4All(host, timeoutMs);
    return all.empty() ? std::nullopt : std::optional<uint32_t>(all.front());
}

std::optional<uint32_t> resolveStation(
    const codec::NetbiosName& name, const QString& station, int timeoutMs, uint16_t nameServicePort, QString* error)
{
    if (auto ip = resolveIpv4(station, timeoutMs)) {
        return ip;
    }
    // Both at once, so that a missing name costs one time-out; the messenger name wins, as it may be an alias
    // held by another station than the computer of that name.
    codec::NetbiosName asked[] = {name, name};
    asked[0].suffix = codec::kSuffixMessenger;
    asked[1].suffix = codec::kSuffixWorkstation;
    for (const auto& found : broadcastNameQueries(asked, {nameServicePort, timeoutMs, 3, true}, error)) {
        if (!found.empty()) {
            return found.front();
        }
    }
    return std::nullopt;
}

} // namespace pv
