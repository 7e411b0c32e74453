#include "messenger/codec/SmbMessage.h"

#include <algorithm>

namespace pv::codec {

namespace {

constexpr uint8_t kSignature[4] = {0xFF, 'S', 'M', 'B'};
constexpr uint8_t kFormatString = 0x04;
constexpr uint8_t kFormatDataBlock = 0x01;
constexpr uint16_t kReplyFlags2 = 0x0003; // long names allowed, EAs: what smbd answers with

bool isMessengerCommand(SmbCommand command)
{
    return command == SmbCommand::SendMessage || command == SmbCommand::SendStart || command == SmbCommand::SendText
           || command == SmbCommand::SendEnd;
}

// 04 string 00
Result<std::string> fetchString(ByteCursor& in)
{
    uint8_t format = 0;
    if (!in.fetchU8(format)) {
        return CodecError::Truncated;
    }
    if (format != kFormatString) {
        return CodecError::BadBufferFormat;
    }
    std::string value;
    if (!in.fetchCString(kMessengerParsedNameMax, value)) {
        return CodecError::BadString;
    }
    return value;
}

// 01 length(LE 16) data
Result<std::string> fetchDataBlock(ByteCursor& in)
{
    uint8_t format = 0;
    uint16_t length = 0;
    if (!in.fetchU8(format)) {
        return CodecError::Truncated;
    }
    if (format != kFormatDataBlock) {
        return CodecError::BadBufferFormat;
    }
    if (!in.fetchLe16(length)) {
        return CodecError::Truncated;
    }
    std::span<const uint8_t> data;
    if (!in.fetchBytes(length, data)) {
        return CodecError::BadLength;
    }
    return std::string(data.begin(), data.end());
}

Result<size_t> checkName(const std::string& name)
{
    if (name.find('\0') != std::string::npos) {
        return CodecError::BadString;
    }
    if (name.size() > kMessengerNameMax) {
        return CodecError::TooLong;
    }
    return name.size();
}

} // namespace

//  0                4       5              9       10         12          14            22         24
//  +----------------+-------+--------------+-------+----------+-----------+-------------+----------+
//  | FF 'S' 'M' 'B' | cmd   | status (4)   | flags | flags2   | PID high  | security(8) | reserved |
//  +-----+----------+-------+------+-------+-------+----------+-----------+-------------+----------+
//  | TID | PID low  | UID   | MID  |  32: WordCount | words (2×WC, LE) | ByteCount (LE) | bytes
//  +-----+----------+-------+------+
//  status: DOS form = class (1), 0 (1), code (LE 16); NT form (flags2 & 0x4000) = LE 32.
Result<SmbPacket> parseSmb(std::span<const uint8_t> smb)
{
    ByteCursor in(smb);
    std::span<const uint8_t> signature;
    if (!in.fetchBytes(4, signature)) {
        return CodecError::Truncated;
    }
    if (!std::equal(signature.begin(), signature.end(), kSignature)) {
        return CodecError::BadSignature;
    }
    SmbPacket packet;
    SmbHeader& h = packet.header;
    uint8_t command = 0;
    std::span<const uint8_t> status;
    std::span<const uint8_t> security;
    if (!in.fetchU8(command) || !in.fetchBytes(4, status) || !in.fetchU8(h.flags) || !in.fetchLe16(h.flags2)
        || !in.fetchLe16(h.pidHigh) || !in.fetchBytes(8, security) || !in.fetchLe16(h.reserved) || !in.fetchLe16(h.tid)
        || !in.fetchLe16(h.pidLow) || !in.fetchLe16(h.uid) || !in.fetchLe16(h.mid)) {
        return CodecError::Truncated;
    }
    h.command = static_cast<SmbCommand>(command);
    std::copy(security.begin(), security.end(), h.securityFeatures.begin());
    ByteCursor statusIn(status);
    if (h.flags2 & kSmbFlags2NtStatus) {
        h.status.ntForm = true;
        (void)statusIn.fetchLe32(h.status.ntStatus); // 4 bytes are there
    } else {
        (void)statusIn.fetchU8(h.status.errorClass);
        (void)statusIn.skip(1);
        (void)statusIn.fetchLe16(h.status.errorCode);
    }

    uint8_t wordCount = 0;
    uint16_t byteCount = 0;
    if (!in.fetchU8(wordCount) || !in.fetchBytes(2 * size_t(wordCount), packet.words) || !in.fetchLe16(byteCount)) {
        return CodecError::Truncated;
    }
    if (!in.fetchBytes(byteCount, packet.bytes)) {
        return CodecError::BadByteCount;
    }
    packet.smb = smb;
    return packet;
}

void appendSmbHeader(ByteWriter& out, const SmbHeader& h)
{
    out.bytes(kSignature);
    out.u8(static_cast<uint8_t>(h.command));
    if (h.status.ntForm) {
        out.le32(h.status.ntStatus);
    } else {
        out.u8(h.status.errorClass);
        out.u8(0);
        out.le16(h.status.errorCode);
    }
    out.u8(h.flags);
    out.le16(static_cast<uint16_t>((h.flags2 & ~kSmbFlags2NtStatus) | (h.status.ntForm ? kSmbFlags2NtStatus : 0)));
    out.le16(h.pidHigh);
    out.bytes(h.securityFeatures);
    out.le16(h.reserved);
    out.le16(h.tid);
    out.le16(h.pidLow);
    out.le16(h.uid);
    out.le16(h.mid);
}

//  D0 WC 0 | BC | 04 From 00 04 To 00 01 len(LE 16) Text
//  D5 WC 0 | BC | 04 From 00 04 To 00
//  D7 WC 1 GroupId | BC | 01 len(LE 16) Text
//  D6 WC 1 GroupId | BC 0
Result<MessengerRequest> parseMessengerRequest(std::span<const uint8_t> smb)
{
    auto packet = parseSmb(smb);
    if (!packet) {
        return packet.error();
    }
    MessengerRequest request;
    request.header = packet->header;
    const SmbCommand command = request.header.command;
    if (!isMessengerCommand(command)) {
        return CodecError::BadType;
    }
    if (request.header.isReply()) {
        return CodecError::BadFlags;
    }
    const bool hasGroupId = command == SmbCommand::SendText || command == SmbCommand::SendEnd;
    if (packet->wordCount() != (hasGroupId ? 1u : 0u)) {
        return CodecError::BadWordCount;
    }
    if (hasGroupId) {
        request.groupId = packet->word(0);
    }
    ByteCursor in(packet->bytes);
    if (command == SmbCommand::SendMessage || command == SmbCommand::SendStart) {
        auto from = fetchString(in);
        if (!from) {
            return from.error();
        }
        auto to = fetchString(in);
        if (!to) {
            return to.error();
        }
        request.from = std::move(*from);
        request.to = std::move(*to);
    }
    if (command == SmbCommand::SendMessage || command == SmbCommand::SendText) {
        auto text = fetchDataBlock(in);
        if (!text) {
            return text.error();
        }
        request.text = std::move(*text);
    }
    return request;
}

Result<std::vector<uint8_t>> buildMessengerRequest(const MessengerRequest& request)
{
    const SmbCommand command = request.header.command;
    if (!isMessengerCommand(command)) {
        return CodecError::BadType;
    }
    const bool hasNames = command == SmbCommand::SendMessage || command == SmbCommand::SendStart;
    const bool hasText = command == SmbCommand::SendMessage || command == SmbCommand::SendText;
    if (hasNames) {
        for (const std::string* name : {&request.from, &request.to}) {
            if (auto checked = checkName(*name); !checked) {
                return checked.error();
            }
        }
    }
    if (hasText && request.text.size() > kTextBlockMax) {
        return CodecError::TooLong;
    }

    std::vector<uint8_t> out;
    ByteWriter w(out);
    appendSmbHeader(w, request.header);
    const bool hasGroupId = command == SmbCommand::SendText || command == SmbCommand::SendEnd;
    w.u8(hasGroupId ? 1 : 0);
    if (hasGroupId) {
        w.le16(request.groupId);
    }
    const size_t byteCountAt = w.position();
    w.le16(0);
    if (hasNames) {
        for (const std::string* name : {&request.from, &request.to}) {
            w.u8(kFormatString);
            w.bytes(*name);
            w.u8(0);
        }
    }
    if (hasText) {
        w.u8(kFormatDataBlock);
        w.le16(static_cast<uint16_t>(request.text.size()));
        w.bytes(request.text);
    }
    w.patchLe16(byteCountAt, static_cast<uint16_t>(w.position() - byteCountAt - 2));
    return out;
}

Result<MessengerReply> parseMessengerReply(std::span<const uint8_t> smb, SmbCommand expected)
{
    auto packet = parseSmb(smb);
    if (!packet) {
        return packet.error();
    }
    MessengerReply reply {packet->header, std::nullopt};
    if (reply.header.command != expected) {
        return CodecError::BadType;
    }
    if (!reply.header.isReply()) {
        return CodecError::BadFlags;
    }
    const size_t maxWords = expected == SmbCommand::SendStart ? 1 : 0;
    if (packet->wordCount() > maxWords) {
        return CodecError::BadWordCount;
    }
    if (packet->wordCount() == 1) {
        reply.groupId = packet->word(0);
    }
    return reply;
}

std::vector<uint8_t>
buildMessengerReply(const SmbHeader& request, const SmbStatus& status, std::optional<uint16_t> groupId)
{
    SmbHeader h;
    h.command = request.command;
    h.status = status;
    h.flags = kSmbFlagReply;
    h.flags2 = kReplyFlags2;
    h.tid = request.tid;
    h.pidHigh = request.pidHigh;
    h.pidLow = request.pidLow;
    h.uid = request.uid;
    h.mid = request.mid;
    std::vector<uint8_t> out;
    ByteWriter w(out);
    appendSmbHeader(w, h);
    w.u8(groupId ? 1 : 0);
    if (groupId) {
        w.le16(*groupId);
    }
    w.le16(0);
    return out;
}

} // namespace pv::codec
