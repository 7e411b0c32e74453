#include "messenger/Interfaces.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace pv {

namespace {

uint32_t hostOrder(const sockaddr* address)
{
    return address != nullptr && address->sa_family == AF_INET
               ? ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr)
               : 0;
}

} // namespace

std::string systemErrorText(int error)
{
    char buffer[256] = {};
    // The GNU strerror_r may return a static text instead of filling the buffer.
    return ::strerror_r(error, buffer, sizeof buffer);
}

Expected<std::vector<Ipv4Interface>> ipv4Interfaces()
{
    std::vector<Ipv4Interface> list;
    ifaddrs* all = nullptr;
    if (::getifaddrs(&all) != 0) {
        return Failure {errno, "cannot list the network interfaces: " + systemErrorText(errno)};
    }
    for (const ifaddrs* i = all; i != nullptr; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET || !(i->ifa_flags & IFF_UP)
            || (i->ifa_flags & IFF_LOOPBACK)) {
            continue;
        }
        // ifa_broadaddr shares its storage with the peer address of a point-to-point link.
        const bool broadcast = (i->ifa_flags & IFF_BROADCAST) && i->ifa_broadaddr != nullptr;
        list.push_back({i->ifa_name,
                        hostOrder(i->ifa_addr),
                        hostOrder(i->ifa_netmask),
                        broadcast ? hostOrder(i->ifa_broadaddr) : 0});
    }
    ::freeifaddrs(all);
    return list;
}

Expected<std::vector<Ipv4Interface>> broadcastInterfaces()
{
    auto list = ipv4Interfaces();
    if (!list) {
        return list;
    }
    std::erase_if(*list, [](const Ipv4Interface& i) { return i.broadcast == 0; });
    if (list->empty()) {
        return Failure {ENETUNREACH, "no network interface with a broadcast address"};
    }
    return list;
}

std::string ipv4ToText(uint32_t address)
{
    return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 0xFF) + '.'
           + std::to_string(address >> 8 & 0xFF) + '.' + std::to_string(address & 0xFF);
}

std::optional<uint32_t> ipv4FromText(std::string_view text)
{
    in_addr a {};
    if (text.empty() || text.size() > 15 || text.find('\0') != std::string_view::npos
        || ::inet_pton(AF_INET, std::string(text).c_str(), &a) != 1) {
        return std::nullopt;
    }
    return ntohl(a.s_addr);
}

} // namespace pv
