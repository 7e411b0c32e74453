#pragma once

#include "messenger/codec/CodecError.h"
#include "messenger/codec/NetbiosName.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace pv::codec {

inline constexpr uint16_t kNameServicePort = 137;

// Flags word of the header.
inline constexpr uint16_t kNsReply = 0x8000;
inline constexpr uint16_t kNsOpcodeMask = 0x7800; // 0 = query
inline constexpr uint16_t kNsAuthoritative = 0x0400;
inline constexpr uint16_t kNsTruncated = 0x0200;
inline constexpr uint16_t kNsRecursionDesired = 0x0100;
inline constexpr uint16_t kNsRecursionAvailable = 0x0080;
inline constexpr uint16_t kNsBroadcast = 0x0010;
inline constexpr uint16_t kNsRcodeMask = 0x000F;
inline constexpr uint8_t kNsNameError = 3; // RCODE: name not found

inline constexpr uint16_t kRrTypeNb = 0x0020;
inline constexpr uint16_t kRrTypeNbStat = 0x0021;
inline constexpr uint16_t kRrClassIn = 0x0001;

// NB_FLAGS of an address entry and name flags of a node status entry.
inline constexpr uint16_t kNbGroup = 0x8000;
inline constexpr uint16_t kNbNodeTypeMask = 0x6000;
inline constexpr uint16_t kNameDeregistering = 0x1000;
inline constexpr uint16_t kNameConflict = 0x0800;
inline constexpr uint16_t kNameActive = 0x0400;
inline constexpr uint16_t kNamePermanent = 0x0200;

// A name query (type NB) or node status request (type NBSTAT).
struct NameQuestion
{
    uint16_t id = 0;
    uint16_t flags = 0;
    NetbiosName name;
    uint16_t type = kRrTypeNb;

    bool isBroadcast() const { return flags & kNsBroadcast; }
};

struct NbAddress
{
    uint16_t flags = 0;
    uint32_t ip = 0; // host order

    bool operator==(const NbAddress&) const = default;
};

struct NameQueryResponse
{
    uint16_t id = 0;
    uint16_t flags = 0;
    NetbiosName name;
    uint32_t ttl = 0;
    std::vector<NbAddress> addresses; // as received; duplicates are the caller's

    uint8_t rcode() const { return flags & kNsRcodeMask; }
    bool isPositive() const { return rcode() == 0 && !addresses.empty(); }
};

struct NodeStatusEntry
{
    NetbiosName name; // raw on the wire, without scope
    uint16_t flags = 0;

    bool operator==(const NodeStatusEntry&) const = default;
};

inline constexpr size_t kNodeStatisticsSize = 46;

struct NodeStatusResponse
{
    uint16_t id = 0;
    uint16_t flags = 0;
    NetbiosName name;
    std::vector<NodeStatusEntry> names;
    std::array<uint8_t, 6> mac {};   // the first statistics bytes; zeros from nmbd
    std::vector<uint8_t> statistics; // the whole block after the names, as received (46 bytes by RFC 1002)
};

// Requests: a name query (broadcast or unicast) and a node status request (name `*` unless given).
Result<std::vector<uint8_t>> buildNameQuery(uint16_t id, const NetbiosName& name, bool broadcast);
Result<std::vector<uint8_t>> buildNodeStatusRequest(uint16_t id, const NetbiosName& name = NetbiosName::wildcard());
Result<NameQuestion> parseNameQuestion(std::span<const uint8_t> packet);

// What a B node answers for a name it holds: reply, authoritative, RD echoed; one RR with the addresses.
Result<std::vector<uint8_t>>
buildNameQueryAnswer(const NameQuestion& question, uint32_t ttl, std::span<const NbAddress> addresses);
Result<NameQueryResponse> parseNameQueryResponse(std::span<const uint8_t> packet);

Result<std::vector<uint8_t>> buildNodeStatusResponse(const NameQuestion& question,
                                                     std::span<const NodeStatusEntry> names,
                                                     const std::array<uint8_t, 6>& mac = {});
Result<NodeStatusResponse> parseNodeStatusResponse(std::span<const uint8_t> packet);

} // namespace pv::codec
