#pragma once

#include "messenger/codec/CodecError.h"
#include "messenger/codec/NetbiosName.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pv::codec {

enum class DatagramType : uint8_t {
    DirectUnique = 0x10,
    DirectGroup = 0x11,
    Broadcast = 0x12,
};

inline constexpr uint8_t kDatagramFlagMore = 0x01;
inline constexpr uint8_t kDatagramFlagFirst = 0x02;
inline constexpr uint8_t kDatagramNodeMask = 0x0C; // 00 B node, 01 P, 10 M, 11 NBDD/H
inline constexpr uint16_t kDatagramPort = 138;
inline constexpr size_t kDatagramHeaderSize = 14;

struct Datagram
{
    DatagramType type = DatagramType::DirectGroup;
    uint8_t flags = kDatagramFlagFirst; // a B node, first and only fragment
    uint16_t id = 0;
    uint32_t sourceIp = 0; // host order
    uint16_t sourcePort = kDatagramPort;
    uint16_t packetOffset = 0;
    NetbiosName source;
    NetbiosName destination;
    std::span<const uint8_t> userData; // points into the parsed buffer, or the data to send

    // Fragments are not reassembled: Windows and Samba send mailslot writes whole.
    bool isFragment() const { return (flags & kDatagramFlagMore) || !(flags & kDatagramFlagFirst) || packetOffset; }
};

Result<Datagram> parseDatagram(std::span<const uint8_t> packet);
Result<std::vector<uint8_t>> buildDatagram(const Datagram& datagram);

inline constexpr std::string_view kMessengerMailslot = "\\MAILSLOT\\MESSNGR";
inline constexpr size_t kMailslotPayloadMax = 424; // what Windows fits in a MESSNGR write over NBT

// The payload of a domain broadcast: From\0To\0Text\0, all OEM bytes.
struct MailslotMessage
{
    std::string from;
    std::string to;
    std::string text;

    bool operator==(const MailslotMessage&) const = default;
};

// The SMB_COM_TRANSACTION in a datagram's user data; the final NUL of the text may be missing.
Result<MailslotMessage> parseMessengerMailslot(std::span<const uint8_t> smb);
// The data is padded to a 4-byte offset, as Windows does.
Result<std::vector<uint8_t>> buildMessengerMailslot(const MailslotMessage& message);

} // namespace pv::codec
