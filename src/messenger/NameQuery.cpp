#include "messenger/NameQuery.h"

#include "messenger/Interfaces.h"

#include "messenger/codec/ResultCodes.h"
#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace pv {

namespace {

using Clock = std::chrono::steady_clock;

Failure systemError(const char* what)
{
    return Failure {errno, std::string(what) + ": " + systemErrorText(errno)};
}

uint16_t randomId()
{
    static std::mt19937 generator {std::random_device {}()};
    return uint16_t(generator());
}

int64_t msSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
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
    std::span<const uint8_t> receive(Clock::time_point start, int64_t endMs)
    {
        for (;;) {
            pollfd wait {m_fd, POLLIN, 0};
            const int ready = ::poll(&wait, 1, int(std::clamp<int64_t>(endMs - msSince(start), 0, 60000)));
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

// A query for each of `names` at once, each with its own transaction id, to every target (broadcast addresses, or
// name servers when `broadcast` is false): the addresses that answered each name, each once, in order of arrival.
// With options.firstAnswer it ends at the first answer for names[0], or at the end of the round in which another
// name was answered.
Expected<std::vector<std::vector<uint32_t>>> nameQueries(std::span<const codec::NetbiosName> names,
                                                         std::span<const uint32_t> targets,
                                                         bool broadcast,
                                                         const NameQueryOptions& options)
{
    std::vector<std::vector<uint32_t>> found(names.size());
    const auto firstId = randomId();
    std::vector<std::vector<uint8_t>> queries;
    for (size_t n = 0; n < names.size(); ++n) {
        auto query = codec::buildNameQuery(uint16_t(firstId + n), names[n], broadcast);
        if (!query) {
            return Failure {EINVAL, codec::codecErrorText(query.error())};
        }
        queries.push_back(std::move(*query));
    }
    UdpSocket socket;
    if (!socket.valid()) {
        return systemError("cannot open a UDP socket");
    }
    if (!broadcast && targets.size() == 1) {
        socket.connectTo(targets[0], options.port); // a server that is down answers "port unreachable"
    }
    const int attempts = std::max(options.attempts, 1);
    const int64_t wait = std::max(options.timeoutMs, 0);
    const auto start = Clock::now();
    for (int attempt = 1; attempt <= attempts && !socket.refused(); ++attempt) {
        for (const auto& query : queries) {
            for (const uint32_t target : targets) {
                socket.send(query, target, options.port);
            }
        }
        const int64_t endMs = wait * attempt / attempts;
        for (auto packet = socket.receive(start, endMs); !packet.empty(); packet = socket.receive(start, endMs)) {
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

std::vector<uint32_t> broadcastAddresses(const std::vector<Ipv4Interface>& interfaces)
{
    std::vector<uint32_t> out;
    out.reserve(interfaces.size());
    for (const Ipv4Interface& i : interfaces) {
        out.push_back(i.broadcast);
    }
    return out;
}

// Broadcast queries for each of `names` (see nameQueries).
Expected<std::vector<std::vector<uint32_t>>> broadcastNameQueries(std::span<const codec::NetbiosName> names,
                                                                  const NameQueryOptions& options)
{
    const auto interfaces = broadcastInterfaces();
    if (!interfaces) {
        return interfaces.error();
    }
    return nameQueries(names, broadcastAddresses(*interfaces), true, options);
}

} // namespace

Expected<std::vector<uint32_t>> broadcastNameQuery(const codec::NetbiosName& name, const NameQueryOptions& options)
{
    auto found = broadcastNameQueries(std::span(&name, 1), options);
    if (!found) {
        return found.error();
    }
    return std::move(found->front());
}

Expected<std::map<uint32_t, std::vector<codec::NodeStatusEntry>>> nodeStatus(std::span<const uint32_t> addresses,
                                                                             const NameQueryOptions& options)
{
    std::map<uint32_t, std::vector<codec::NodeStatusEntry>> names;
    UdpSocket socket;
    if (!socket.valid()) {
        return systemError("cannot open a UDP socket");
    }
    // One transaction id per address, so that each answer is matched to its request.
    const auto firstId = randomId();
    std::map<uint16_t, uint32_t> pending;
    for (size_t i = 0; i < addresses.size() && i < 0xFFFF; ++i) {
        pending[uint16_t(firstId + i)] = addresses[i];
    }
    if (addresses.size() == 1) {
        socket.connectTo(addresses[0], options.port);
    }
    const int attempts = std::max(options.attempts, 1);
    const int64_t wait = std::max(options.timeoutMs, 0);
    const auto start = Clock::now();
    for (int attempt = 1; attempt <= attempts && !pending.empty() && !socket.refused(); ++attempt) {
        for (const auto& [id, ip] : pending) {
            if (const auto request = codec::buildNodeStatusRequest(id)) {
                socket.send(*request, ip, options.port);
            }
        }
        const int64_t endMs = wait * attempt / attempts;
        while (!pending.empty()) {
            const auto packet = socket.receive(start, endMs);
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

std::vector<uint32_t> resolveIpv4All(std::string_view host, int timeoutMs)
{
    if (host.empty() || host.find('\0') != std::string_view::npos) {
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
        std::thread([lookup, name = std::string(host)] {
            addrinfo hints {};
            hints.ai_family = AF_INET;
            hints.ai_socktype = SOCK_STREAM;
            addrinfo* list = nullptr;
            std::vector<uint32_t> addresses;
            if (::getaddrinfo(name.c_str(), nullptr, &hints, &list) == 0) {
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

std::optional<uint32_t> resolveIpv4(std::string_view host, int timeoutMs)
{
    const std::vector<uint32_t> all = resolveIpv4All(host, timeoutMs);
    return all.empty() ? std::nullopt : std::optional<uint32_t>(all.front());
}

std::optional<uint32_t> hostsFileAddress(std::string_view host, const std::string& path)
{
    const std::string wanted = codec::toUpperText(host);
    std::ifstream file(path);
    std::string line;
    while (!wanted.empty() && std::getline(file, line)) {
        line = line.substr(0, line.find('#'));
        std::string_view rest = line;
        std::optional<uint32_t> address;
        for (bool first = true;; first = false) {
            const size_t start = rest.find_first_not_of(" \t\r");
            if (start == std::string_view::npos) {
                break;
            }
            rest.remove_prefix(start);
            const std::string_view word = rest.substr(0, rest.find_first_of(" \t\r"));
            rest.remove_prefix(word.size());
            if (first) {
                address = ipv4FromText(word);
                if (!address) {
                    break; // IPv6, or not an address
                }
            } else if (codec::toUpperText(word) == wanted) {
                return address;
            }
        }
    }
    return std::nullopt;
}

Expected<uint32_t> resolveStation(const codec::NetbiosName& name, std::string_view station, const StationLookup& lookup)
{
    if (const auto literal = ipv4FromText(station)) {
        return *literal;
    }
    const bool dnsName = station.find('.') != std::string_view::npos;
    if (dnsName) {
        if (const auto ip = resolveIpv4(station, lookup.timeoutMs)) {
            return *ip;
        }
    } else if (const auto ip = hostsFileAddress(station, lookup.hostsFile)) {
        return *ip;
    }
    // Both names at once, so that a missing name costs one time-out; the messenger name wins, as it may be an
    // alias held by another station than the computer of that name.
    codec::NetbiosName asked[] = {name, name};
    asked[0].suffix = codec::kSuffixMessenger;
    asked[1].suffix = codec::kSuffixWorkstation;
    const NameQueryOptions options {lookup.nameServicePort, lookup.timeoutMs, 3, true};
    auto first = [](const std::vector<std::vector<uint32_t>>& found) -> std::optional<uint32_t> {
        for (const auto& addresses : found) {
            if (!addresses.empty()) {
                return addresses.front();
            }
        }
        return std::nullopt;
    };
    for (const uint32_t server : lookup.winsServers) {
        if (const auto found = nameQueries(asked, std::span(&server, 1), false, options)) {
            if (const auto address = first(*found)) {
                return *address;
            }
        }
    }
    const auto found = broadcastNameQueries(asked, options);
    if (found) {
        if (const auto address = first(*found)) {
            return *address;
        }
    }
    if (!dnsName) {
        if (const auto ip = resolveIpv4(station, lookup.timeoutMs)) {
            return *ip;
        }
    }
    std::string why = dnsName ? "unknown to the resolver, and no answer" : "no answer";
    why += " to a NetBIOS query for " + codec::decodeOemText(name.name, lookup.codePage) + "<03> or <00>";
    if (!found) {
        why += " (" + found.error().text + ")";
    } else if (!dnsName) {
        why += ", and unknown to the resolver";
    }
    return Failure {codec::netapi::NameNotFound, std::string(station) + ": " + why};
}

} // namespace pv
