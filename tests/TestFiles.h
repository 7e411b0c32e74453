#pragma once

#include <QFile>
#include <QString>

#include <ostream>

// Readable failures: gtest would print a QString as raw bytes.
inline void PrintTo(const QString& s, std::ostream* os)
{
    *os << '"' << s.toStdString() << '"';
}

namespace pv::test {

// Creates or replaces a whole file; false when it could not.
[[nodiscard]] inline bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace pv::test
