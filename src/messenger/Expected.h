#pragma once

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace pv {

// Why a call of the library failed: a code of the call's own family (a NET_API_STATUS for a send, a start result
// for the service, an errno for the system), and a sentence for people.
struct Failure
{
    int code = 0;
    std::string text;
};

// A value or the error that stands in its place (C++20 has no std::expected). The library's calls report through
// it; only the codec keeps its own Result, whose errors say which field of a packet was wrong.
template<class T>
class [[nodiscard]] Expected
{
public:
    Expected(T value)
        : m_data(std::move(value))
    {
    }
    Expected(Failure error)
        : m_data(std::move(error))
    {
    }

    bool ok() const { return m_data.index() == 0; }
    explicit operator bool() const { return ok(); }
    const Failure& error() const
    {
        assert(!ok());
        return std::get<1>(m_data);
    }
    // 0 when it succeeded.
    int code() const { return ok() ? 0 : error().code; }
    // The error's text, or "" when it succeeded.
    std::string errorText() const { return ok() ? std::string() : error().text; }

    const T& value() const& { return std::get<0>(m_data); }
    T& value() & { return std::get<0>(m_data); }
    T&& value() && { return std::get<0>(std::move(m_data)); }
    T value_or(T fallback) const& { return ok() ? value() : std::move(fallback); }
    const T& operator*() const& { return value(); }
    T& operator*() & { return value(); }
    const T* operator->() const { return &value(); }
    T* operator->() { return &value(); }

private:
    std::variant<T, Failure> m_data;
};

// A call that gives nothing back but may fail.
using Status = Expected<std::monostate>;

inline Status success()
{
    return std::monostate {};
}

} // namespace pv
