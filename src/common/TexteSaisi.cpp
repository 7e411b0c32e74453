#include "common/TexteSaisi.h"

#include <utility>

namespace pv {

QString gEnLF(QString texte)
{
    return texte.replace(QLatin1String("\r\n"), QLatin1String("\n"));
}

QString gEnCRLF(QString texte)
{
    return gEnLF(std::move(texte)).replace(QLatin1Char('\n'), QLatin1String("\r\n"));
}

QString gFiltrerNomStation(const QString& saisie)
{
    QString out;
    out.reserve(saisie.size());
    for (const QChar c : saisie) {
        if (!c.isSpace()) {
            out.append(c.toUpper());
        }
    }
    return out;
}

QStringList gStationsTapees(const QString& texte)
{
    QStringList stations;
    for (const QString& piece : texte.split(QLatin1Char(','))) {
        if (const QString station = piece.trimmed().toUpper(); !station.isEmpty()) {
            stations.append(station);
        }
    }
    return stations;
}

} // namespace pv
