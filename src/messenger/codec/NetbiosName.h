#pragma once

#include "messenger/codec/ByteCursor.h"
#include "messenger/codec/CodecError.h"
#include "messenger/codec/OemCodePage.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace pv::codec {

// Suffixes (16th byte) that matter to the messenger.
inline constexpr uint8_t kSuffixWorkstation = 0x00; // computer name; group form: the workgroup
inline constexpr uint8_t kSuffixMessenger = 0x03;
inline constexpr uint8_t kSuffixServer = 0x20;

inline constexpr size_t kNetbiosNameMax = 15;  // OEM bytes before the suffix
inline constexpr size_t kEncodedNameMax = 255; // whole wire form, length bytes included
inline constexpr size_t kEncodedNameNoScope = 34;

struct NetbiosName
{
    std::string name; // OEM bytes without the padding; upper-cased when made from user input
    uint8_t suffix = 0;
    std::string scope; // dot-separated labels, usually empty

    bool operator==(const NetbiosName&) const = default;
    // The name `*`<00> of a node status request.
    static NetbiosName wildcard() { return {"*", 0x00, {}}; }
};

// A name given by a user or a setting, in OEM bytes: not empty, at most 15 bytes, no control
// character, none of \ / : * ? " < > |, no leading or trailing blank. ASCII letters are upper-cased.
Result<NetbiosName> makeNetbiosName(std::string_view oemName, uint8_t suffix);
// The same from UTF-8 text: upper-cased, then encoded to the code page (Unrepresentable when it cannot be).
Result<NetbiosName> netbiosNameFromText(std::string_view text, uint8_t suffix, OemCodePage codePage);

// The 16 raw bytes: name padded with blanks (with NULs for `*`), then the suffix.
std::string paddedNetbiosName(const NetbiosName& name);
// Inverse of paddedNetbiosName for 16 raw bytes (node status entries).
NetbiosName unpaddedNetbiosName(std::span<const uint8_t, 16> raw);

// Wire form: 0x20, 32 bytes of first-level encoding, scope labels, 0x00. Returns the bytes written.
Result<size_t> appendNetbiosName(ByteWriter& out, const NetbiosName& name);

// Reads a wire-form name. Name-service packets may use label pointers (0xC0) back into the packet the
// cursor spans; allowPointers enables them.
Result<NetbiosName> decodeNetbiosName(ByteCursor& in, bool allowPointers = false);

} // namespace pv::codec
