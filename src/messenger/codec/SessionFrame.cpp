#include "messenger/codec/SessionFrame.h"

namespace pv::codec {

namespace {

constexpr uint8_t kFlagExtension = 0x01;
// Two wire names; each at least 34 bytes and at most kEncodedNameMax.
constexpr uint32_t kRequestMin = 2 * kEncodedNameNoScope;
constexpr uint32_t kRequestMax = 2 * kEncodedNameMax;

std::vector<uint8_t> frameWithHeader(SessionType type, uint32_t length)
{
    std::vector<uint8_t> out;
    out.reserve(kSessionHeaderSize + length);
    ByteWriter w(out);
    w.u8(static_cast<uint8_t>(type));
    w.u8(length > 0xFFFF ? kFlagExtension : 0);
    w.be16(static_cast<uint16_t>(length));
    return out;
}

} // namespace

//  +------+-------+----------------+------------------+
//  | type | flags | length (BE 16) | length bytes ... |
//  +------+-------+----------------+------------------+
//  flags bit 0 (E) is the 17th bit of the length; the other bits must be 0.
Result<SessionHeader> parseSessionHeader(std::span<const uint8_t> header, uint32_t maxLength)
{
    ByteCursor in(header);
    uint8_t type = 0;
    uint8_t flags = 0;
    uint16_t length16 = 0;
    if (!in.fetchU8(type) || !in.fetchU8(flags) || !in.fetchBe16(length16)) {
        return CodecError::Truncated;
    }
    if (flags & ~kFlagExtension) {
        return CodecError::BadFlags;
    }
    const uint32_t length = (flags & kFlagExtension ? 0x10000u : 0u) | length16;
    if (length > maxLength) {
        return CodecError::TooLong;
    }
    SessionHeader result {static_cast<SessionType>(type), length};
    bool lengthFits = true;
    switch (result.type) {
    case SessionType::Message:
        break;
    case SessionType::Request:
        lengthFits = length >= kRequestMin && length <= kRequestMax;
        break;
    case SessionType::Positive:
    case SessionType::KeepAlive:
        lengthFits = length == 0;
        break;
    case SessionType::Negative:
        lengthFits = length == 1;
        break;
    case SessionType::Retarget:
        lengthFits = length == 6;
        break;
    default:
        return CodecError::BadType;
    }
    if (!lengthFits) {
        return CodecError::BadLength;
    }
    return result;
}

Result<size_t> sessionBytesNeeded(std::span<const uint8_t> buffered, uint32_t maxLength)
{
    if (buffered.size() < kSessionHeaderSize) {
        return kSessionHeaderSize - buffered.size();
    }
    const auto header = parseSessionHeader(buffered.first(kSessionHeaderSize), maxLength);
    if (!header) {
        return header.error();
    }
    return buffered.size() >= header->frameSize() ? 0 : header->frameSize() - buffered.size();
}

//  0x81 body: called name (34+ bytes) | calling name (34+ bytes)
//  0x83 body: error code (1)
//  0x84 body: IPv4 address (BE 32) | port (BE 16)
Result<SessionFrame> parseSessionFrame(std::span<const uint8_t> frame, uint32_t maxLength)
{
    const auto header = parseSessionHeader(frame.first(std::min(frame.size(), kSessionHeaderSize)), maxLength);
    if (!header) {
        return header.error();
    }
    if (frame.size() < header->frameSize()) {
        return CodecError::Truncated;
    }
    if (frame.size() > header->frameSize()) {
        return CodecError::BadLength;
    }
    SessionFrame result;
    result.type = header->type;
    ByteCursor in(frame.subspan(kSessionHeaderSize));
    switch (header->type) {
    case SessionType::Message:
        result.payload = in.rest();
        return result;
    case SessionType::Request: {
        auto called = decodeNetbiosName(in);
        if (!called) {
            return called.error();
        }
        auto calling = decodeNetbiosName(in);
        if (!calling) {
            return calling.error();
        }
        if (!in.atEnd()) {
            return CodecError::BadLength;
        }
        result.called = std::move(*called);
        result.calling = std::move(*calling);
        return result;
    }
    case SessionType::Negative:
        (void)in.fetchU8(result.errorCode); // the header check made the length 1
        return result;
    case SessionType::Retarget:
        (void)in.fetchBe32(result.retargetIp); // and 6 here
        (void)in.fetchBe16(result.retargetPort);
        return result;
    default:
        return result;
    }
}

Result<std::vector<uint8_t>> buildSessionMessage(std::span<const uint8_t> smb)
{
    if (smb.size() > kSessionMaxLength) {
        return CodecError::TooLong;
    }
    auto out = frameWithHeader(SessionType::Message, static_cast<uint32_t>(smb.size()));
    out.insert(out.end(), smb.begin(), smb.end());
    return out;
}

Result<std::vector<uint8_t>> buildSessionRequest(const NetbiosName& called, const NetbiosName& calling)
{
    auto out = frameWithHeader(SessionType::Request, 0);
    ByteWriter w(out);
    for (const NetbiosName* name : {&called, &calling}) {
        const auto written = appendNetbiosName(w, *name);
        if (!written) {
            return written.error();
        }
    }
    w.patchBe16(2, static_cast<uint16_t>(out.size() - kSessionHeaderSize)); // at most 510
    return out;
}

std::vector<uint8_t> buildPositiveSessionResponse()
{
    return frameWithHeader(SessionType::Positive, 0);
}

std::vector<uint8_t> buildNegativeSessionResponse(uint8_t errorCode)
{
    auto out = frameWithHeader(SessionType::Negative, 1);
    out.push_back(errorCode);
    return out;
}

std::vector<uint8_t> buildRetargetSessionResponse(uint32_t ip, uint16_t port)
{
    auto out = frameWithHeader(SessionType::Retarget, 6);
    ByteWriter w(out);
    w.be32(ip);
    w.be16(port);
    return out;
}

std::vector<uint8_t> buildKeepAlive()
{
    return frameWithHeader(SessionType::KeepAlive, 0);
}

} // namespace pv::codec
