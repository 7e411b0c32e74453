#pragma once

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>

#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

namespace pv::codec::test {

using Bytes = std::vector<uint8_t>;

// "81 00 00 44" → bytes; characters in quotes are taken as they are: "04 'BOB' 00".
inline Bytes hex(std::string_view text)
{
    Bytes out;
    auto nibble = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'') {
            for (++i; i < text.size() && text[i] != '\''; ++i) {
                out.push_back(static_cast<uint8_t>(text[i]));
            }
        } else if (text[i] != ' ' && text[i] != '\n') {
            out.push_back(static_cast<uint8_t>(nibble(text[i]) << 4 | nibble(text[i + 1])));
            ++i;
        }
    }
    return out;
}

// Annotated packets are written one field per line: cat({hex("…"), // field
inline Bytes cat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

// A copy of b with the bytes at `at` replaced.
inline Bytes patched(Bytes b, size_t at, std::initializer_list<uint8_t> values)
{
    std::copy(values.begin(), values.end(), b.begin() + at);
    return b;
}

// A valid packet cut anywhere before its end must give an error, never a value or a crash.
template<class Parse>
void expectEveryPrefixFails(const Bytes& packet, Parse parse)
{
    for (size_t cut = 0; cut < packet.size(); ++cut) {
        EXPECT_FALSE(parse(std::span<const uint8_t>(packet).first(cut)).ok()) << "cut at " << cut;
    }
}

} // namespace pv::codec::test
