#include "messenger/codec/NetbiosName.h"

#include "messenger/codec/Utf8.h"

#include <algorithm>

namespace pv::codec {

namespace {

constexpr std::string_view kForbidden = "\\/:*?\"<>|";
constexpr int kMaxPointerHops = 16;

bool isWildcard(std::string_view name)
{
    return name == "*";
}

Result<size_t> checkScope(std::string_view scope)
{
    if (scope.empty()) {
        return size_t {0};
    }
    size_t encoded = 0;
    size_t start = 0;
    while (start <= scope.size()) {
        const size_t dot = std::min(scope.find('.', start), scope.size());
        const size_t len = dot - start;
        if (len == 0 || len > 63) {
            return CodecError::BadName;
        }
        encoded += 1 + len;
        start = dot + 1;
    }
    return encoded;
}

} // namespace

Result<NetbiosName> makeNetbiosName(std::string_view oemName, uint8_t suffix)
{
    if (oemName.empty() || oemName.front() == ' ' || oemName.back() == ' ') {
        return CodecError::BadName;
    }
    if (oemName.size() > kNetbiosNameMax) {
        return CodecError::TooLong;
    }
    NetbiosName result {std::string(oemName), suffix, {}};
    for (char& ch : result.name) {
        const auto byte = static_cast<uint8_t>(ch);
        if (byte < 0x20 || byte == 0x7F || kForbidden.find(ch) != std::string_view::npos) {
            return CodecError::BadName;
        }
        if (ch >= 'a' && ch <= 'z') {
            ch = static_cast<char>(ch - 'a' + 'A');
        }
    }
    return result;
}

Result<NetbiosName> netbiosNameFromText(std::string_view text, uint8_t suffix, OemCodePage codePage)
{
    auto oem = encodeOemText(toUpperText(text), codePage);
    if (!oem) {
        return oem.error();
    }
    return makeNetbiosName(*oem, suffix);
}

std::string paddedNetbiosName(const NetbiosName& name)
{
    std::string raw = name.name.substr(0, kNetbiosNameMax);
    raw.resize(kNetbiosNameMax, isWildcard(name.name) ? '\0' : ' ');
    raw.push_back(static_cast<char>(name.suffix));
    return raw;
}

NetbiosName unpaddedNetbiosName(std::span<const uint8_t, 16> raw)
{
    std::string name(reinterpret_cast<const char*>(raw.data()), kNetbiosNameMax);
    if (name[0] == '*' && std::all_of(name.begin() + 1, name.end(), [](char c) { return c == '\0'; })) {
        name.resize(1);
    } else {
        name.erase(name.find_last_not_of(' ') + 1);
    }
    return {std::move(name), raw[15], {}};
}

Result<size_t> appendNetbiosName(ByteWriter& out, const NetbiosName& name)
{
    if (name.name.size() > kNetbiosNameMax) {
        return CodecError::TooLong;
    }
    const auto scopeBytes = checkScope(name.scope);
    if (!scopeBytes) {
        return scopeBytes.error();
    }
    const size_t total = kEncodedNameNoScope + *scopeBytes;
    if (total > kEncodedNameMax) {
        return CodecError::TooLong;
    }
    out.u8(0x20);
    for (const char ch : paddedNetbiosName(name)) {
        const auto byte = static_cast<uint8_t>(ch);
        out.u8(static_cast<uint8_t>('A' + (byte >> 4)));
        out.u8(static_cast<uint8_t>('A' + (byte & 0x0F)));
    }
    size_t start = 0;
    while (!name.scope.empty() && start <= name.scope.size()) {
        const size_t dot = std::min(name.scope.find('.', start), name.scope.size());
        out.u8(static_cast<uint8_t>(dot - start));
        out.bytes(std::string_view(name.scope).substr(start, dot - start));
        start = dot + 1;
    }
    out.u8(0x00);
    return total;
}

//  +------+------------------------------------+-----+-------------+------+
//  | 0x20 | 32 bytes 'A'..'P' (2 per raw byte) | len | scope label | 0x00 |
//  +------+------------------------------------+-----+-------------+------+
//                                               (repeated per label)
// A length byte 0b11xxxxxx is a 14-bit pointer to an earlier label in the same packet.
Result<NetbiosName> decodeNetbiosName(ByteCursor& in, bool allowPointers)
{
    ByteCursor walk = in;
    size_t resumeAt = 0; // where `in` continues: after the name, or after its first pointer
    bool jumped = false;
    size_t segmentStart = walk.position();
    size_t total = 0;
    int hops = 0;
    NetbiosName result;
    bool first = true;

    for (;;) {
        uint8_t len = 0;
        if (!walk.fetchU8(len)) {
            return CodecError::Truncated;
        }
        if ((len & 0xC0) == 0xC0) {
            uint8_t low = 0;
            if (!allowPointers || !walk.fetchU8(low)) {
                return allowPointers ? CodecError::Truncated : CodecError::BadName;
            }
            const size_t target = static_cast<size_t>(len & 0x3F) << 8 | low;
            if (!jumped) {
                resumeAt = walk.position();
                jumped = true;
            }
            // Only backwards, before everything read so far: no loops.
            if (target >= segmentStart || ++hops > kMaxPointerHops || !walk.seek(target)) {
                return CodecError::BadOffset;
            }
            segmentStart = target;
            continue;
        }
        if (len & 0xC0) {
            return CodecError::BadName;
        }
        total += 1 + len;
        if (total + 1 > kEncodedNameMax) {
            return CodecError::TooLong;
        }
        if (len == 0) {
            break;
        }
        std::span<const uint8_t> label;
        if (!walk.fetchBytes(len, label)) {
            return CodecError::Truncated;
        }
        if (first) {
            if (len != 32) {
                return CodecError::BadName;
            }
            uint8_t raw[16];
            for (size_t i = 0; i < 16; ++i) {
                const uint8_t hi = label[2 * i] - 'A';
                const uint8_t lo = label[2 * i + 1] - 'A';
                if (hi > 15 || lo > 15) {
                    return CodecError::BadName;
                }
                raw[i] = static_cast<uint8_t>(hi << 4 | lo);
            }
            result = unpaddedNetbiosName(std::span<const uint8_t, 16>(raw, 16));
            first = false;
        } else {
            if (std::find(label.begin(), label.end(), '.') != label.end()) {
                return CodecError::BadName;
            }
            if (!result.scope.empty()) {
                result.scope.push_back('.');
            }
            result.scope.append(label.begin(), label.end());
        }
    }
    if (first) {
        return CodecError::BadName; // a bare 0x00: no name at all
    }
    if (!jumped) {
        resumeAt = walk.position();
    }
    (void)in.seek(resumeAt); // within the same data, never fails
    return result;
}

} // namespace pv::codec
