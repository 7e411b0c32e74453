#pragma once

#include "messenger/Expected.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pv {

// One IPv4 address of a local interface; addresses in host order.
struct Ipv4Interface
{
    std::string name;
    uint32_t address = 0;
    uint32_t netmask = 0;
    uint32_t broadcast = 0; // 0 when the interface has none
};

// The IPv4 addresses of the interfaces that are up, loopback excluded, in the system's order; an error when the
// system cannot list them.
Expected<std::vector<Ipv4Interface>> ipv4Interfaces();
// Those with a broadcast address: where NetBIOS broadcasts go. An error when there is none.
Expected<std::vector<Ipv4Interface>> broadcastInterfaces();

std::string ipv4ToText(uint32_t address);
// A dotted quad only ("10.0.0.1"); anything else gives nothing.
std::optional<uint32_t> ipv4FromText(std::string_view text);

// What strerror says of an errno value, for the texts of errors.
std::string systemErrorText(int error);

} // namespace pv
