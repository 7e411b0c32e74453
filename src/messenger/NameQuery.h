#pragma once

#include "messenger/Expected.h"
#include "messenger/codec/NameService.h"
#include "messenger/codec/NetbiosName.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pv {

// A blocking NetBIOS name-service client over UDP.
struct NameQueryOptions
{
    uint16_t port = codec::kNameServicePort; // where the name service listens (tests move it)
    int timeoutMs = 1000;                    // the whole wait
    int attempts = 3;                        // sends spread over the wait: UDP may lose one
    bool firstAnswer = false;                // stop at the first answer (a unique name has one owner)
};

// A broadcast query for `name` on every broadcast interface. The addresses (host order) that answered before the
// time-out, each once, in order of arrival; nothing answering a broadcast query for a missing name is normal.
// An error when no query could go out (no broadcast interface, no socket).
Expected<std::vector<uint32_t>> broadcastNameQuery(const codec::NetbiosName& name, const NameQueryOptions& options);

// A node status request to each address, all on one socket: the names each one holds. An address that did not
// answer before the time-out is missing from the map.
Expected<std::map<uint32_t, std::vector<codec::NodeStatusEntry>>> nodeStatus(std::span<const uint32_t> addresses,
                                                                             const NameQueryOptions& options);

// An IPv4 literal, else the system's resolver (hosts file, DNS), which may not take longer than timeoutMs.
std::optional<uint32_t> resolveIpv4(std::string_view host, int timeoutMs);
// The same with every address the resolver gives, each once, in its order.
std::vector<uint32_t> resolveIpv4All(std::string_view host, int timeoutMs);

// The address of `host` in a hosts file (IPv4 only, case ignored): a look-up that costs no traffic.
std::optional<uint32_t> hostsFileAddress(std::string_view host, const std::string& path = "/etc/hosts");

// Where a station is looked for, cheapest first.
struct StationLookup
{
    int timeoutMs = 1000;              // each step that waits for the network
    uint16_t nameServicePort = 137;    // NetBIOS queries
    std::vector<uint32_t> winsServers; // asked before the broadcast, in order
    std::string hostsFile = "/etc/hosts";
    codec::OemCodePage codePage = codec::OemCodePage::Cp850; // of the name, for the error's text
};

// A station's address: an IPv4 literal needs nothing. A name with a dot is a DNS name: the resolver first. A name
// without one is NetBIOS first: the hosts file, the WINS servers, then broadcast queries for NAME<03> and NAME<00>
// at once (the holder of NAME<03> preferred), and the resolver (DNS search domains) last.
Expected<uint32_t>
resolveStation(const codec::NetbiosName& name, std::string_view station, const StationLookup& lookup);

} // namespace pv
