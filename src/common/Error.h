#pragma once

#include <QString>

#include <stdexcept>

namespace pv {

// The one exception type of the program: a number (as the error reports show it) and a readable text.
class Error : public std::runtime_error
{
public:
    explicit Error(const QString& text, int number = 0)
        : std::runtime_error(text.toStdString())
        , m_text(text)
        , m_number(number)
    {
    }

    const QString& text() const { return m_text; }
    int number() const { return m_number; }

private:
    QString m_text;
    int m_number;
};

} // namespace pv
