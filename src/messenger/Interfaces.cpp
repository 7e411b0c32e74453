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

std::vector<Ipv4Interface> ipv4Interfaces(QString* error)
{
    std::vector<Ipv4Interface> list;
    ifaddrs* all = nullptr;
    if (::getifaddrs(&all) != 0) {
        if (error != nullptr) {
            *error
                = QStringLiteral("cannot list the network interfaces: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        }
        return list;
    }
    for (const ifaddrs* i = all; i != nullptr; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET || !(i->ifa_flags & IFF_UP)
            || (i->ifa_flags & IFF_LOOPBACK)) {
            continue;
        }
        // ifa_broadaddr shares its storage with the peer address of a point-to-point link.
        const bool broadcast = (i->ifa_flags & IFF_BROADCAST) && i->ifa_broadaddr != nullptr;
        list.push_back({QString::fromLocal8Bit(i->ifa_name),
                        hostOrder(i->ifa_addr),
                        hostOrder(i->ifa_netmask),
                        broadcast ? hostOrder(i->ifa_broadaddr) : 0});
    }
    ::freeifaddrs(all);
    return list;
}

std::vector<Ipv4Interface> broadcastInterfaces(QString* error)
{
    std::vector<Ipv4Interface> list = ipv4Interfaces(error);
    std::erase_if(list, [](const Ipv4Interface& i) { return i.broadcast == 0; });
    return list;
}

QString ipv4ToText(uint32_t address)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(address >> 24)
        .arg(address >> 16 & 0xFF)
        .arg(address >> 8 & 0xFF)
        .arg(address & 0xFF);
}

std::optional<uint32_t> ipv4FromText(const QString& text)
{
    in_addr a {};
    if (text.contains(QChar(0)) || ::inet_pton(AF_INET, text.toLatin1().constData(), &a) != 1) {
        return std::nullopt;
    }
    return ntohl(a.s_addr);
}

} // namespace pv
