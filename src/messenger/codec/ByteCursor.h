#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pv::codec {

// Reads a packet front to back and never past its end: every fetch says whether it fit,
// and a failed fetch leaves the position where it was.
class ByteCursor
{
public:
    explicit ByteCursor(std::span<const uint8_t> data)
        : m_data(data)
    {
    }

    size_t position() const { return m_pos; }
    size_t remaining() const { return m_data.size() - m_pos; }
    bool atEnd() const { return m_pos == m_data.size(); }
    std::span<const uint8_t> data() const { return m_data; }
    std::span<const uint8_t> rest() const { return m_data.subspan(m_pos); }

    [[nodiscard]] bool fetchU8(uint8_t& out)
    {
        if (remaining() < 1) {
            return false;
        }
        out = m_data[m_pos++];
        return true;
    }
    [[nodiscard]] bool fetchBe16(uint16_t& out) { return fetchInt(out, 2, true); }
    [[nodiscard]] bool fetchBe32(uint32_t& out) { return fetchInt(out, 4, true); }
    [[nodiscard]] bool fetchLe16(uint16_t& out) { return fetchInt(out, 2, false); }
    [[nodiscard]] bool fetchLe32(uint32_t& out) { return fetchInt(out, 4, false); }

    [[nodiscard]] bool fetchBytes(size_t count, std::span<const uint8_t>& out)
    {
        if (remaining() < count) {
            return false;
        }
        out = m_data.subspan(m_pos, count);
        m_pos += count;
        return true;
    }
    [[nodiscard]] bool skip(size_t count)
    {
        if (remaining() < count) {
            return false;
        }
        m_pos += count;
        return true;
    }
    [[nodiscard]] bool seek(size_t position)
    {
        if (position > m_data.size()) {
            return false;
        }
        m_pos = position;
        return true;
    }
    // A NUL-terminated string of at most maxLength bytes before the NUL; false when no NUL comes in time.
    [[nodiscard]] bool fetchCString(size_t maxLength, std::string& out)
    {
        for (size_t i = m_pos; i < m_data.size() && i - m_pos <= maxLength; ++i) {
            if (m_data[i] == 0) {
                out.assign(reinterpret_cast<const char*>(m_data.data() + m_pos), i - m_pos);
                m_pos = i + 1;
                return true;
            }
        }
        return false;
    }

private:
    template<class T>
    bool fetchInt(T& out, size_t size, bool bigEndian)
    {
        if (remaining() < size) {
            return false;
        }
        T value = 0;
        for (size_t i = 0; i < size; ++i) {
            const size_t shift = 8 * (bigEndian ? size - 1 - i : i);
            value = static_cast<T>(value | static_cast<T>(m_data[m_pos + i]) << shift);
        }
        out = value;
        m_pos += size;
        return true;
    }

    std::span<const uint8_t> m_data;
    size_t m_pos = 0;
};

// Appends to a byte vector; lengths known only at the end are patched in place.
class ByteWriter
{
public:
    explicit ByteWriter(std::vector<uint8_t>& out)
        : m_out(out)
    {
    }

    size_t position() const { return m_out.size(); }
    void u8(uint8_t v) { m_out.push_back(v); }
    void be16(uint16_t v) { putInt(v, 2, true); }
    void be32(uint32_t v) { putInt(v, 4, true); }
    void le16(uint16_t v) { putInt(v, 2, false); }
    void le32(uint32_t v) { putInt(v, 4, false); }
    void bytes(std::span<const uint8_t> b) { m_out.insert(m_out.end(), b.begin(), b.end()); }
    void bytes(std::string_view s) { m_out.insert(m_out.end(), s.begin(), s.end()); }
    void zeros(size_t count) { m_out.insert(m_out.end(), count, 0); }
    void patchBe16(size_t at, uint16_t v)
    {
        m_out.at(at) = static_cast<uint8_t>(v >> 8);
        m_out.at(at + 1) = static_cast<uint8_t>(v);
    }
    void patchLe16(size_t at, uint16_t v)
    {
        m_out.at(at) = static_cast<uint8_t>(v);
        m_out.at(at + 1) = static_cast<uint8_t>(v >> 8);
    }

private:
    void putInt(uint32_t v, size_t size, bool bigEndian)
    {
        for (size_t i = 0; i < size; ++i) {
            const size_t shift = 8 * (bigEndian ? size - 1 - i : i);
            m_out.push_back(static_cast<uint8_t>(v >> shift));
        }
    }

    std::vector<uint8_t>& m_out;
};

} // namespace pv::codec
