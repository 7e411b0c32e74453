#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace pv {

// One IPv4 address of a local interface; addresses in host order.
struct Ipv4Interface
{
    QString name;
    uint32_t address = 0;
    uint32_t netmask = 0;
    uint32_t broadcast = 0; // 0 when the interface has none
};

// The IPv4 addresses of the interfaces that are up, loopback excluded, in the system's order. When the system cannot
// list them, the list is empty and error says why.
std::vector<Ipv4Interface> ipv4Interfaces(QString* error = nullptr);
// Those with a broadcast address: where NetBIOS broadcasts go.
std::vector<Ipv4Interface> broadcastInterfaces(QString* error = nullptr);

QString ipv4ToText(uint32_t address);
// A dotted quad only ("10.0.0.1"); anything else gives nothing.
std::optional<uint32_t> ipv4FromText(const QString& text);

} // namespace pv
