#pragma once

#include "messenger/codec/ByteCursor.h"
#include "messenger/codec/CodecError.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace pv::codec {

inline constexpr size_t kSmbHeaderSize = 32;

enum class SmbCommand : uint8_t {
    Transaction = 0x25,
    Negotiate = 0x72,
    SendMessage = 0xD0, // single block
    SendBroadcast = 0xD1,
    SendStart = 0xD5,
    SendEnd = 0xD6,
    SendText = 0xD7,
};

inline constexpr uint8_t kSmbFlagReply = 0x80;
inline constexpr uint16_t kSmbFlags2NtStatus = 0x4000;

// DOS error classes and the codes the messenger meets.
inline constexpr uint8_t kErrDos = 0x01;
inline constexpr uint8_t kErrSrv = 0x02;
inline constexpr uint16_t kErrDosAccessDenied = 5;
inline constexpr uint16_t kErrDosReqNotAccepted = 71;
inline constexpr uint16_t kErrDosInvalidParameter = 87;
inline constexpr uint16_t kErrSrvAccess = 4;
inline constexpr uint16_t kErrSrvUnknownSmb = 22;
inline constexpr uint16_t kErrSrvSmbCmd = 64;
inline constexpr uint16_t kErrSrvPaused = 81;
inline constexpr uint16_t kErrSrvMsgOff = 82;
inline constexpr uint16_t kErrSrvNoRoom = 83;
inline constexpr uint16_t kErrSrvNoResource = 89;

inline constexpr uint32_t kNtStatusNotImplemented = 0xC0000002;
inline constexpr uint32_t kNtStatusInvalidParameter = 0xC000000D;
inline constexpr uint32_t kNtStatusAccessDenied = 0xC0000022;
inline constexpr uint32_t kNtStatusNotSupported = 0xC00000BB;
inline constexpr uint32_t kNtStatusRequestNotAccepted = 0xC00000D0;

// Header status: DOS form (class, code) or, with Flags2 0x4000, a 32-bit NTSTATUS.
struct SmbStatus
{
    bool ntForm = false;
    uint8_t errorClass = 0;
    uint16_t errorCode = 0;
    uint32_t ntStatus = 0;

    static constexpr SmbStatus success() { return {}; }
    static constexpr SmbStatus dos(uint8_t errorClass, uint16_t errorCode) { return {false, errorClass, errorCode, 0}; }
    static constexpr SmbStatus nt(uint32_t status) { return {true, 0, 0, status}; }
    constexpr bool isSuccess() const { return ntForm ? (ntStatus >> 30) <= 1 : errorClass == 0; }
    bool operator==(const SmbStatus&) const = default;
};

struct SmbHeader
{
    SmbCommand command = SmbCommand::SendStart;
    SmbStatus status;
    uint8_t flags = 0;
    uint16_t flags2 = 0; // the 0x4000 bit follows status.ntForm when building
    uint16_t pidHigh = 0;
    std::array<uint8_t, 8> securityFeatures {};
    uint16_t reserved = 0;
    uint16_t tid = 0;
    uint16_t pidLow = 0;
    uint16_t uid = 0;
    uint16_t mid = 0;

    bool isReply() const { return flags & kSmbFlagReply; }
    bool operator==(const SmbHeader&) const = default;
};

// One SMB split into its parts; the spans point into the parsed buffer.
struct SmbPacket
{
    SmbHeader header;
    std::span<const uint8_t> smb;   // the whole SMB: offsets in the words count from its start
    std::span<const uint8_t> words; // 2 × WordCount bytes
    std::span<const uint8_t> bytes; // ByteCount bytes

    size_t wordCount() const { return words.size() / 2; }
    uint16_t word(size_t index) const { return static_cast<uint16_t>(words[2 * index] | words[2 * index + 1] << 8); }
};

Result<SmbPacket> parseSmb(std::span<const uint8_t> smb);
void appendSmbHeader(ByteWriter& out, const SmbHeader& header);

inline constexpr size_t kMessengerNameMax = 15;        // From and To when building
inline constexpr size_t kMessengerParsedNameMax = 255; // From and To accepted when parsing
inline constexpr size_t kTextBlockMax = 128;           // the text of a D0, one D7 block

// D0 (from, to, text), D5 (from, to), D7 (groupId, text), D6 (groupId): header.command says which.
struct MessengerRequest
{
    SmbHeader header;
    std::string from; // OEM bytes
    std::string to;
    uint16_t groupId = 0;
    std::string text; // OEM bytes

    bool operator==(const MessengerRequest&) const = default;
};

Result<MessengerRequest> parseMessengerRequest(std::span<const uint8_t> smb);
Result<std::vector<uint8_t>> buildMessengerRequest(const MessengerRequest& request);

struct MessengerReply
{
    SmbHeader header;
    std::optional<uint16_t> groupId; // a D5 reply with WordCount 1; smbd sends WordCount 0
};

// A reply to `expected`: reply flag set, same command, WordCount 0 (or 1 for D5).
Result<MessengerReply> parseMessengerReply(std::span<const uint8_t> smb, SmbCommand expected);
// Echoes command, TID, PID, UID and MID of the request; groupId only in a D5 reply.
std::vector<uint8_t>
buildMessengerReply(const SmbHeader& request, const SmbStatus& status, std::optional<uint16_t> groupId = std::nullopt);

} // namespace pv::codec
