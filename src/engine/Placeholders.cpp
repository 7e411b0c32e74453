#include "engine/Placeholders.h"

#include "common/NetworkProbes.h"

#include <QMutex>

namespace pv {

namespace {

QMutex g_horlogeVerrou;
QDateTime g_horlogeEssai;

void remplacer(QString& texte, const char* nom, const QString& valeur)
{
    texte.replace(QLatin1String(nom), valeur, Qt::CaseInsensitive);
}

} // namespace

QDateTime gMaintenant()
{
    const QMutexLocker verrou(&g_horlogeVerrou);
    return g_horlogeEssai.isValid() ? g_horlogeEssai : QDateTime::currentDateTime();
}

void setHorlogeEssai(const QDateTime& moment)
{
    const QMutexLocker verrou(&g_horlogeVerrou);
    g_horlogeEssai = moment;
}

Utilisateur gRechercherUtilisateurDans(const QList<Utilisateur>& utilisateurs, const QString& station, bool* trouve)
{
    for (const Utilisateur& u : utilisateurs) {
        if (u.station.compare(station, Qt::CaseInsensitive) == 0) {
            if (trouve) {
                *trouve = true;
            }
            return u;
        }
    }
    if (trouve) {
        *trouve = false;
    }
    return {station, station, false};
}

QString gVersionPilvanor()
{
    const QStringList n = QStringLiteral(PV_VERSION).split(QLatin1Char('.'));
    const auto nombre = [&n](int i) { return QString::number(i < n.size() ? n[i].toInt() : 0); };
    return nombre(0) + QLatin1Char('.') + nombre(1) + QStringLiteral(" (build ") + nombre(2) + QLatin1Char(')');
}

QString gRemplacerVariables(const QString& station, const QString& adresseIP, const QString& texte)
{
    if (!texte.contains(QLatin1Char('%'))) {
        return texte;
    }
    return gRemplacerVariables(station, adresseIP, texte, gUtilisateurs());
}

QString gRemplacerVariables(const QString& station,
                            const QString& adresseIP,
                            const QString& texte,
                            const QList<Utilisateur>& utilisateurs)
{
    if (!texte.contains(QLatin1Char('%'))) {
        return texte;
    }
    QString out = texte;
    const QString description = gRechercherUtilisateurDans(utilisateurs, station).description;
    // The station goes in first so that a description holding "%UserWorkstation%" stays as typed; the steps
    // below still expand a description that holds, say, "%Date%". Only a station name holding
    // "%UserDescription%" could tell the two orders apart.
    remplacer(out, "%UserWorkstation%", station);
    remplacer(out, "%UserDescription%", description);
    remplacer(out, "%UserIPAddress%", adresseIP);
    // Looked up only when asked for: the probe may report a failure.
    if (out.contains(QLatin1String("%MyIPAddress%"), Qt::CaseInsensitive)) {
        remplacer(out, "%MyIPAddress%", gObtenirAdresseIP());
    }
    // The clock is read afresh for each of the three.
    remplacer(out, "%DateTime%", gMaintenant().toString(QStringLiteral("yyyy/MM/dd HH:mm")));
    remplacer(out, "%Date%", gMaintenant().toString(QStringLiteral("yyyy/MM/dd")));
    remplacer(out, "%Time%", gMaintenant().toString(QStringLiteral("HH:mm")));
    remplacer(out, "%PVVersion%", gVersionPilvanor());
    return out;
}

} // namespace pv
