#pragma once

#include "common/DataFile.h"

#include <QDateTime>
#include <QList>
#include <QString>

namespace pv {

// The engine's clock: local time, or the moment a test has fixed. An invalid moment gives the real clock back.
QDateTime gMaintenant();
void setHorlogeEssai(const QDateTime& moment);

// gRechercherUtilisateur's rule (station, ignoring case) over a given table: a send works on a copy taken when it
// started. Unknown stations come back as themselves.
Utilisateur
gRechercherUtilisateurDans(const QList<Utilisateur>& utilisateurs, const QString& station, bool* trouve = nullptr);

// "major.minor (build revision)" from the project's version.
QString gVersionPilvanor();

// Expands "%UserWorkstation%", "%UserDescription%", "%UserIPAddress%", "%MyIPAddress%", "%DateTime%", "%Date%",
// "%Time%" and "%PVVersion%", in that order, every occurrence, ignoring case. A value is expanded only by the later
// steps, so a description holding "%Date%" is expanded and one holding "%UserWorkstation%" is not. A text without
// "%" comes back as it is, with nothing looked up.
QString gRemplacerVariables(const QString& station, const QString& adresseIP, const QString& texte);
// The same over a copy of the user table, for a send that runs off the window thread.
QString gRemplacerVariables(const QString& station,
                            const QString& adresseIP,
                            const QString& texte,
                            const QList<Utilisateur>& utilisateurs);

} // namespace pv
