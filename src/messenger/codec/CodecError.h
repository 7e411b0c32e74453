#pragma once

#include <cassert>
#include <utility>
#include <variant>

namespace pv::codec {

// What was wrong with a packet (when parsing) or with a value (when building).
enum class CodecError {
    Truncated,       // the data ends inside a field
    TooLong,         // a length above what the format or the caller allows
    BadType,         // unknown packet type, command or record type
    BadName,         // a NetBIOS name that is malformed or not allowed
    BadSignature,    // an SMB that does not start with FF 'S' 'M' 'B'
    BadWordCount,    // an SMB word count that does not fit the command
    BadByteCount,    // an SMB byte count that runs past the packet
    BadBufferFormat, // an SMB buffer-format byte other than the one expected
    BadLength,       // a length field that disagrees with the data
    BadFlags,        // flag bits that are not allowed here
    BadString,       // a string without its terminator, or one that holds a NUL
    BadOffset,       // an offset that points outside the packet
    BadCount,        // a record count that does not fit the packet
    BadMailslot,     // a mailslot write to another mailslot, or with another opcode
    Unrepresentable, // a character that the code page cannot hold
};

const char* codecErrorText(CodecError error);

// A value or the reason there is none (C++20 has no std::expected).
template<class T>
class [[nodiscard]] Result
{
public:
    Result(T value)
        : m_data(std::move(value))
    {
    }
    Result(CodecError error)
        : m_data(error)
    {
    }

    bool ok() const { return m_data.index() == 0; }
    explicit operator bool() const { return ok(); }
    CodecError error() const
    {
        assert(!ok());
        return std::get<1>(m_data);
    }
    const T& value() const& { return std::get<0>(m_data); }
    T& value() & { return std::get<0>(m_data); }
    T&& value() && { return std::get<0>(std::move(m_data)); }
    const T& operator*() const& { return value(); }
    T& operator*() & { return value(); }
    const T* operator->() const { return &value(); }
    T* operator->() { return &value(); }

private:
    std::variant<T, CodecError> m_data;
};

} // namespace pv::codec
