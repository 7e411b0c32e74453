#pragma once

#include "messenger/codec/ByteCursor.h"
#include "messenger/codec/CodecError.h"
#include "messenger/codec/NetbiosName.h"

#include <cstdint>
#include <span>
#include <vector>

namespace pv::codec {

enum class SessionType : uint8_t {
    Message = 0x00,
    Request = 0x81,
    Positive = 0x82,
    Negative = 0x83,
    Retarget = 0x84,
    KeepAlive = 0x85,
};

// Negative session response codes.
inline constexpr uint8_t kNotListeningOnCalled = 0x80;
inline constexpr uint8_t kNotListeningForCalling = 0x81;
inline constexpr uint8_t kCalledNotPresent = 0x82;
inline constexpr uint8_t kInsufficientResources = 0x83;
inline constexpr uint8_t kOtherSessionError = 0x8F; // any other reason

inline constexpr size_t kSessionHeaderSize = 4;
inline constexpr uint32_t kSessionMaxLength = 0x1FFFF; // 16 bits plus the E flag

struct SessionHeader
{
    SessionType type = SessionType::Message;
    uint32_t length = 0; // bytes after the header
    size_t frameSize() const { return kSessionHeaderSize + length; }
};

struct SessionFrame
{
    SessionType type = SessionType::Message;
    std::span<const uint8_t> payload; // Message: the SMB, pointing into the parsed buffer
    NetbiosName called;               // Request
    NetbiosName calling;              // Request
    uint8_t errorCode = 0;            // Negative
    uint32_t retargetIp = 0;          // Retarget, host order
    uint16_t retargetPort = 0;        // Retarget
};

// Checks the 4-byte header: known type, only the E flag, a length that fits the type and maxLength.
Result<SessionHeader> parseSessionHeader(std::span<const uint8_t> header, uint32_t maxLength);

// For a stream reader: how many more bytes to read so that `buffered` (the start of a frame) holds
// the whole frame; never more than that (the header first, then the body). 0 = complete.
Result<size_t> sessionBytesNeeded(std::span<const uint8_t> buffered, uint32_t maxLength);

// One whole frame, exactly (no bytes after it).
Result<SessionFrame> parseSessionFrame(std::span<const uint8_t> frame, uint32_t maxLength = kSessionMaxLength);

Result<std::vector<uint8_t>> buildSessionMessage(std::span<const uint8_t> smb);
Result<std::vector<uint8_t>> buildSessionRequest(const NetbiosName& called, const NetbiosName& calling);
std::vector<uint8_t> buildPositiveSessionResponse();
std::vector<uint8_t> buildNegativeSessionResponse(uint8_t errorCode);
std::vector<uint8_t> buildRetargetSessionResponse(uint32_t ip, uint16_t port);
std::vector<uint8_t> buildKeepAlive();

} // namespace pv::codec
