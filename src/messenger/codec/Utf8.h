#pragma once

#include <string>
#include <string_view>

namespace pv::codec {

// Texts cross the library's interfaces as UTF-8; the wire wants OEM bytes or UTF-16. A malformed sequence becomes
// U+FFFD, so that a stray byte costs one character, never the message.
std::u16string utf8ToUtf16(std::string_view text);
std::string utf16ToUtf8(std::u16string_view text);

// Upper case for the letters the OEM code pages hold (Latin, Greek, Cyrillic): what a NetBIOS name is compared in.
std::string toUpperText(std::string_view text);

// Without the blanks (space, tab, CR, LF, VT, FF) at either end.
std::string_view trimmedText(std::string_view text);

} // namespace pv::codec
