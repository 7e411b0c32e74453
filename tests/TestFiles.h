#pragma once

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
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

// The D-Bus signature a call will have on the wire (the message fills in its own only once sent).
inline QString dbusSignature(const QDBusMessage& m)
{
    QString signature;
    for (const QVariant& v : m.arguments()) {
        signature += v.metaType() == QMetaType::fromType<QDBusArgument>()
                         ? v.value<QDBusArgument>().currentSignature()
                         : QString::fromLatin1(QDBusMetaType::typeToSignature(v.metaType()));
    }
    return signature;
}

} // namespace pv::test
