#include "messenger/Names.h"

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

QStringList ServiceNames::aliases() const
{
    QFile f(filePath());
    QStringList out;
    if (!f.open(QIODevice::ReadOnly)) {
        return out;
    }
    // A hand-edited file may hold blanks, empty lines and duplicates.
    for (const QByteArray& line : f.readAll().split('\n')) {
        const QString name = QString::fromUtf8(line).trimmed().toUpper();
        if (!name.isEmpty() && !out.contains(name)) {
            out.append(name);
        }
    }
    return out;
}

bool ServiceNames::add(const QString& alias, QString* error)
{
    const QString name = alias.trimmed().toUpper();
    if (name.isEmpty() || name.toLocal8Bit().size() > 15 || name.contains(QLatin1Char('*'))) {
        if (error) {
            *error = QStringLiteral("\"%1\" cannot be a NetBIOS name").arg(alias);
        }
        return false;
    }
    QStringList names = aliases();
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
