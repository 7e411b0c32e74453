#include "messenger/codec/OemCodePage.h"

#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <cctype>

namespace pv::codec {

namespace {

// Upper halves (bytes 0x80..0xFF) as UTF-16, as Windows and iconv convert them.
constexpr char16_t kCp437[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C,
    0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320,
    0x2321, 0x00F7, 0x2248, 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};

constexpr char16_t kCp850[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00F8, 0x00A3, 0x00D8, 0x00D7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x00AE, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x00C1, 0x00C2, 0x00C0, 0x00A9, 0x2563, 0x2551, 0x2557, 0x255D, 0x00A2, 0x00A5, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x00E3, 0x00C3, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x00A4, 0x00F0, 0x00D0, 0x00CA, 0x00CB, 0x00C8, 0x0131, 0x00CD, 0x00CE, 0x00CF, 0x2518, 0x250C,
    0x2588, 0x2584, 0x00A6, 0x00CC, 0x2580, 0x00D3, 0x00DF, 0x00D4, 0x00D2, 0x00F5, 0x00D5, 0x00B5, 0x00FE,
    0x00DE, 0x00DA, 0x00DB, 0x00D9, 0x00FD, 0x00DD, 0x00AF, 0x00B4, 0x00AD, 0x00B1, 0x2017, 0x00BE, 0x00B6,
    0x00A7, 0x00F7, 0x00B8, 0x00B0, 0x00A8, 0x00B7, 0x00B9, 0x00B3, 0x00B2, 0x25A0, 0x00A0,
};

const char16_t* upperHalf(OemCodePage codePage)
{
    switch (codePage) {
    case OemCodePage::Cp437:
        return kCp437;
    case OemCodePage::Cp850:
        return kCp850;
    case OemCodePage::Ascii:
        break;
    }
    return nullptr;
}

std::optional<char> encodeOne(char16_t ch, const char16_t* half)
{
    if (ch < 0x80) {
        return static_cast<char>(ch);
    }
    if (half) {
        for (int i = 0; i < 128; ++i) {
            if (half[i] == ch) {
                return static_cast<char>(0x80 + i);
            }
        }
    }
    return std::nullopt;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
           });
}

} // namespace

std::optional<OemCodePage> oemCodePageByName(std::string_view name)
{
    struct Alias
    {
        std::string_view name;
        OemCodePage codePage;
    };
    static constexpr Alias kAliases[] = {
        {"CP850", OemCodePage::Cp850},
        {"850", OemCodePage::Cp850},
        {"IBM850", OemCodePage::Cp850},
        {"CP437", OemCodePage::Cp437},
        {"437", OemCodePage::Cp437},
        {"IBM437", OemCodePage::Cp437},
        {"ASCII", OemCodePage::Ascii},
        {"US-ASCII", OemCodePage::Ascii},
    };
    for (const Alias& alias : kAliases) {
        if (equalsIgnoringCase(alias.name, name)) {
            return alias.codePage;
        }
    }
    return std::nullopt;
}

const char* oemCodePageName(OemCodePage codePage)
{
    switch (codePage) {
    case OemCodePage::Cp437:
        return "CP437";
    case OemCodePage::Cp850:
        return "CP850";
    case OemCodePage::Ascii:
        break;
    }
    return "ASCII";
}

std::u16string decodeOem(std::string_view bytes, OemCodePage codePage)
{
    const char16_t* half = upperHalf(codePage);
    std::u16string text;
    text.reserve(bytes.size());
    for (const char ch : bytes) {
        const auto byte = static_cast<uint8_t>(ch);
        text.push_back(byte < 0x80 ? char16_t(byte) : half ? half[byte - 0x80] : u'\uFFFD');
    }
    return text;
}

std::string decodeOemText(std::string_view bytes, OemCodePage codePage)
{
    return utf16ToUtf8(decodeOem(bytes, codePage));
}

Result<std::string> encodeOem(std::u16string_view text, OemCodePage codePage, std::optional<char> replacement)
{
    const char16_t* half = upperHalf(codePage);
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t ch = text[i];
        std::optional<char> byte = encodeOne(ch, half);
        if (!byte) {
            if (!replacement) {
                return CodecError::Unrepresentable;
            }
            byte = replacement;
            if (ch >= 0xD800 && ch < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
                ++i;
            }
        }
        out.push_back(*byte);
    }
    return out;
}

Result<std::string> encodeOemText(std::string_view text, OemCodePage codePage, std::optional<char> replacement)
{
    return encodeOem(utf8ToUtf16(text), codePage, replacement);
}

} // namespace pv::codec
