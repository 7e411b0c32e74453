#include "messenger/codec/Datagram.h"

#include "messenger/codec/SmbMessage.h"

#include <algorithm>
#include <cctype>

namespace pv::codec {

namespace {

constexpr uint8_t kTransactionWords = 14; // before the setup words
constexpr uint16_t kMailslotWrite = 1;
constexpr uint16_t kMailslotPriority = 1;
constexpr uint16_t kMailslotClass = 2; // unreliable, may be broadcast
constexpr size_t kMailslotNameMax = 255;

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
           });
}

} // namespace

//  0      1       2          4           8             10           12              14
//  +------+-------+----------+-----------+-------------+------------+---------------+
//  | type | flags | id (BE)  | source IP | source port | DGM_LENGTH | PACKET_OFFSET |
//  +------+-------+----------+-----------+-------------+------------+---------------+
//  | source name (34+) | destination name (34+) | user data |
//  DGM_LENGTH counts both names and the user data.
Result<Datagram> parseDatagram(std::span<const uint8_t> packet)
{
    ByteCursor in(packet);
    Datagram d;
    uint8_t type = 0;
    uint16_t length = 0;
    if (!in.fetchU8(type) || !in.fetchU8(d.flags) || !in.fetchBe16(d.id) || !in.fetchBe32(d.sourceIp)
        || !in.fetchBe16(d.sourcePort) || !in.fetchBe16(length) || !in.fetchBe16(d.packetOffset)) {
        return CodecError::Truncated;
    }
    d.type = static_cast<DatagramType>(type);
    if (d.type != DatagramType::DirectUnique && d.type != DatagramType::DirectGroup
        && d.type != DatagramType::Broadcast) {
        return CodecError::BadType;
    }
    if (length > in.remaining()) {
        return CodecError::Truncated;
    }
    ByteCursor body(in.rest().first(length));
    auto source = decodeNetbiosName(body);
    if (!source) {
        return source.error() == CodecError::Truncated ? CodecError::BadLength : source.error();
    }
    auto destination = decodeNetbiosName(body);
    if (!destination) {
        return destination.error() == CodecError::Truncated ? CodecError::BadLength : destination.error();
    }
    d.source = std::move(*source);
    d.destination = std::move(*destination);
    d.userData = body.rest();
    return d;
}

Result<std::vector<uint8_t>> buildDatagram(const Datagram& d)
{
    std::vector<uint8_t> out;
    ByteWriter w(out);
    w.u8(static_cast<uint8_t>(d.type));
    w.u8(d.flags);
    w.be16(d.id);
    w.be32(d.sourceIp);
    w.be16(d.sourcePort);
    w.be16(0); // DGM_LENGTH, patched below
    w.be16(d.packetOffset);
    for (const NetbiosName* name : {&d.source, &d.destination}) {
        if (auto written = appendNetbiosName(w, *name); !written) {
            return written.error();
        }
    }
    w.bytes(d.userData);
    const size_t length = out.size() - kDatagramHeaderSize;
    if (length > 0xFFFF) {
        return CodecError::TooLong;
    }
    w.patchBe16(10, static_cast<uint16_t>(length));
    return out;
}

//  SMB header (command 0x25) | WC = 14 + SetupCount
//  words: 0 TotalParameterCount, 1 TotalDataCount, 2 MaxParameterCount, 3 MaxDataCount,
//         4 MaxSetupCount|Reserved, 5 Flags, 6-7 Timeout, 8 Reserved2, 9 ParameterCount,
//         10 ParameterOffset, 11 DataCount, 12 DataOffset, 13 SetupCount|Reserved3,
//         14 Opcode (1 = write), 15 Priority, 16 Class
//  bytes: "\MAILSLOT\MESSNGR" 00 | pad | data at DataOffset (from the SMB start):
//         From 00 To 00 Text [00]
Result<MailslotMessage> parseMessengerMailslot(std::span<const uint8_t> smb)
{
    auto packet = parseSmb(smb);
    if (!packet) {
        return packet.error();
    }
    if (packet->header.command != SmbCommand::Transaction) {
        return CodecError::BadType;
    }
    if (packet->wordCount() < kTransactionWords + 1
        || packet->wordCount() != kTransactionWords + size_t(packet->word(13) & 0xFF)) {
        return CodecError::BadWordCount;
    }
    if (packet->word(14) != kMailslotWrite) {
        return CodecError::BadMailslot;
    }
    ByteCursor bytes(packet->bytes);
    std::string mailslot;
    if (!bytes.fetchCString(kMailslotNameMax, mailslot)) {
        return CodecError::BadString;
    }
    if (!equalsIgnoringCase(mailslot, kMessengerMailslot)) {
        return CodecError::BadMailslot;
    }
    const uint16_t totalDataCount = packet->word(1);
    const uint16_t dataCount = packet->word(11);
    const uint16_t dataOffset = packet->word(12);
    if (dataCount != totalDataCount) {
        return CodecError::BadLength; // a write split over secondary requests: never seen for MESSNGR
    }
    if (dataOffset < kSmbHeaderSize || size_t(dataOffset) + dataCount > smb.size()) {
        return CodecError::BadOffset;
    }
    ByteCursor data(smb.subspan(dataOffset, dataCount));
    MailslotMessage message;
    if (!data.fetchCString(kMailslotNameMax, message.from) || !data.fetchCString(kMailslotNameMax, message.to)) {
        return CodecError::BadString;
    }
    const auto rest = data.rest();
    message.text.assign(rest.begin(), std::find(rest.begin(), rest.end(), 0));
    return message;
}

Result<std::vector<uint8_t>> buildMessengerMailslot(const MailslotMessage& message)
{
    for (const std::string* field : {&message.from, &message.to, &message.text}) {
        if (field->find('\0') != std::string::npos) {
            return CodecError::BadString;
        }
    }
    const size_t dataCount = message.from.size() + message.to.size() + message.text.size() + 3;
    if (dataCount > kMailslotPayloadMax) {
        return CodecError::TooLong;
    }
    constexpr size_t kWords = kTransactionWords + 3;
    constexpr size_t kNameOffset = kSmbHeaderSize + 1 + 2 * kWords + 2;
    constexpr size_t kNameEnd = kNameOffset + kMessengerMailslot.size() + 1;
    constexpr size_t kDataOffset = (kNameEnd + 3) & ~size_t(3);

    SmbHeader header;
    header.command = SmbCommand::Transaction;
    header.flags = 0x18;
    header.flags2 = 0x0004;
    header.pidLow = 0xFEFF;
    std::vector<uint8_t> out;
    ByteWriter w(out);
    appendSmbHeader(w, header);
    w.u8(kWords);
    const uint16_t words[kWords] = {0, // TotalParameterCount
                                    uint16_t(dataCount),
                                    0, // MaxParameterCount
                                    0, // MaxDataCount
                                    0, // MaxSetupCount, Reserved
                                    0, // Flags
                                    0, // Timeout
                                    0,
                                    0, // Reserved2
                                    0, // ParameterCount
                                    0, // ParameterOffset
                                    uint16_t(dataCount),
                                    uint16_t(kDataOffset),
                                    3, // SetupCount, Reserved3
                                    kMailslotWrite,
                                    kMailslotPriority,
                                    kMailslotClass};
    for (const uint16_t word : words) {
        w.le16(word);
    }
    w.le16(uint16_t(kDataOffset - kNameOffset + dataCount));
    w.bytes(kMessengerMailslot);
    w.u8(0);
    w.zeros(kDataOffset - kNameEnd);
    for (const std::string* field : {&message.from, &message.to, &message.text}) {
        w.bytes(*field);
        w.u8(0);
    }
    return out;
}

} // namespace pv::codec
