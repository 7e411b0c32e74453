#pragma once

#include "messenger/codec/CodecError.h"

#include <optional>
#include <string>
#include <string_view>

namespace pv::codec {

// The DOS ("OEM") code pages that names and texts travel in. CP850 is Samba's default.
enum class OemCodePage { Ascii, Cp437, Cp850 };

// "CP850", "850", "IBM850", "CP437", "437", "IBM437", "ASCII", "US-ASCII"; case ignored.
std::optional<OemCodePage> oemCodePageByName(std::string_view name);
const char* oemCodePageName(OemCodePage codePage);

// Bytes 0x00..0x7F are ASCII (0x14 stays 0x14). ASCII has no upper half: those bytes become U+FFFD.
std::u16string decodeOem(std::string_view bytes, OemCodePage codePage);
// The same as UTF-8.
std::string decodeOemText(std::string_view bytes, OemCodePage codePage);

// Unrepresentable for a character outside the code page, unless a replacement byte is given
// (one replacement per character, a surrogate pair counting as one).
Result<std::string>
encodeOem(std::u16string_view text, OemCodePage codePage, std::optional<char> replacement = std::nullopt);
// The same from UTF-8.
Result<std::string>
encodeOemText(std::string_view text, OemCodePage codePage, std::optional<char> replacement = std::nullopt);

} // namespace pv::codec
