#pragma once

#include "messenger/codec/NameService.h"
#include "messenger/codec/NetbiosName.h"

#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <span>
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
// error: set when no query could go out (no broadcast interface, no socket).
std::vector<uint32_t>
broadcastNameQuery(const codec::NetbiosName& name, const NameQueryOptions& options, QString* error = nullptr);

// A node status request to each address, all on one socket: the names each one holds. An address that did not
// answer before the time-out is missing from the map.
std::map<uint32_t, std::vector<codec::NodeStatusEntry>>
nodeStatus(std::span<const uint32_t> addresses, const NameQueryOptions& options, QString* error = nullptr);

// An IPv4 literal, else the system's resolver (hosts file, DNS), which may not take longer than timeoutMs.
std::optional<uint32_t> resolveIpv4(const QString& host, int timeoutMs);
// The same with every address the resolver gives, each once, in its order.
std::vector<uint32_t> resolveIpv4All(const QString& host, int timeoutMs);

// A station's address: an IPv4 literal, else the resolver, else NetBIOS broadcast queries for NAME<03> and NAME<00>
// at once, the holder of NAME<03> preferred (names the resolver does not know, as on a LAN without DNS). Each of the
// two steps takes at most timeoutMs.
std::optional<uint32_t> resolveStation(const codec::NetbiosName& name,
                                       const QString& station,
                                       int timeoutMs,
                                       uint16_t nameServicePort = 137,
                                       QString* error = nullptr);

} // namespace pv
