#include "messenger/codec/Utf8.h"

#include <cstdint>

namespace pv::codec {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// The next code point of `text` from `i`, which it moves past the sequence (one byte for a malformed one).
char32_t nextCodePoint(std::string_view text, size_t& i)
{
    const auto lead = static_cast<uint8_t>(text[i++]);
    if (lead < 0x80) {
        return lead;
    }
    int more = 0;
    char32_t cp = 0;
    char32_t least = 0;
    if ((lead & 0xE0) == 0xC0) {
        more = 1, cp = lead & 0x1F, least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        more = 2, cp = lead & 0x0F, least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        more = 3, cp = lead & 0x07, least = 0x10000;
    } else {
        return kReplacement;
    }
    size_t j = i;
    for (int k = 0; k < more; ++k, ++j) {
        if (j >= text.size() || (static_cast<uint8_t>(text[j]) & 0xC0) != 0x80) {
            return kReplacement;
        }
        cp = cp << 6 | (static_cast<uint8_t>(text[j]) & 0x3F);
    }
    if (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) {
        return kReplacement;
    }
    i = j;
    return cp;
}

void appendUtf8(std::string& out, char32_t cp)
{
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | cp >> 6));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | cp >> 12));
        out.push_back(static_cast<char>(0x80 | (cp >> 6 & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | cp >> 18));
        out.push_back(static_cast<char>(0x80 | (cp >> 12 & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp >> 6 & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

char32_t upper(char32_t c)
{
    if ((c >= U'a' && c <= U'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7) || (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2)
        || (c >= 0x430 && c <= 0x44F)) {
        return c - 0x20;
    }
    if (c >= 0x450 && c <= 0x45F) {
        return c - 0x50;
    }
    switch (c) {
    case 0xB5:
        return 0x39C; // micro sign: Greek capital mu
    case 0xFF:
        return 0x178;
    case 0x131:
        return U'I'; // dotless i
    case 0x3C2:
        return 0x3A3; // final sigma
    default:
        break;
    }
    // Latin Extended-A: pairs, the capital first, shifted by one in 0x139..0x148 and 0x179..0x17E.
    const bool shifted = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    if (c >= 0x100 && c <= 0x17E && c != 0x130 && c != 0x138 && c != 0x149 && c != 0x178 && (c % 2 == 1) != shifted) {
        return c - 1;
    }
    return c;
}

} // namespace

std::u16string utf8ToUtf16(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const char32_t cp = nextCodePoint(text, i);
        if (cp < 0x10000) {
            out.push_back(static_cast<char16_t>(cp));
        } else {
            out.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        }
    }
    return out;
}

std::string utf16ToUtf8(std::u16string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[++i] - 0xDC00);
        } else if (cp >= 0xD800 && cp < 0xE000) {
            cp = kReplacement;
        }
        appendUtf8(out, cp);
    }
    return out;
}

std::string toUpperText(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<uint8_t>(text[i]);
        if (byte < 0x80) {
            out.push_back(byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 0x20) : static_cast<char>(byte));
            ++i;
            continue;
        }
        appendUtf8(out, upper(nextCodePoint(text, i)));
    }
    return out;
}

std::string_view trimmedText(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

} // namespace pv::codec
