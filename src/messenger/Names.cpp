#include "messenger/Names.h"

#include "messenger/codec/NetbiosName.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

namespace pv {

ServiceNames::ServiceNames(QString spoolFolder)
    : m_folder(std::move(spoolFolder))
{
}

QString ServiceNames::filePath() const
{
    return m_folder + QStringLiteral("/names");
}

QString ServiceNames::normalized(const QString& name, codec::OemCodePage codePage)
{
    const auto netbios = codec::netbiosNameFromText(name.trimmed(), codec::kSuffixMessenger, codePage);
    return netbios ? codec::decodeOemText(netbios->name, codePage) : QString();
}

QStringList ServiceNames::aliases(codec::OemCodePage codePage) const
{
    QFile f(filePath());
    QStringList out;
    if (!f.open(QIODevice::ReadOnly)) {
        return out;
    }
    // A hand-edited file may hold blanks, empty lines, duplicates and names that cannot be NetBIOS names; a huge
    // one is read in part, so that it cannot stall the service.
    for (const QByteArray& line : f.read(64 * 1024).split('\n')) {
        const QString name = normalized(QString::fromUtf8(line), codePage);
        if (!name.isEmpty() && !out.contains(name)) {
            out.append(name);
        }
    }
    return out;
}

bool ServiceNames::add(const QString& alias, QString* error, codec::OemCodePage codePage)
{
    const QString name = normalized(alias, codePage);
    if (name.isEmpty()) {
        if (error) {
            *error = QStringLiteral("\"%1\" cannot be a NetBIOS name").arg(alias);
        }
        return false;
    }
    QStringList names = aliases(codePage);
    if (names.contains(name)) {
        return true;
    }
    names.append(name);
    QDir().mkpath(m_folder);
    QSaveFile f(filePath());
    if (!f.open(QIODevice::WriteOnly) || f.write((names.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8()) < 0
        || !f.commit()) {
        if (error) {
            *error = QStringLiteral("cannot write %1: %2").arg(filePath(), f.errorString());
        }
        return false;
    }
    return true;
}

} // namespace pv
