#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QObject;

namespace pv {

// How the stations of a workgroup are listed; tests give their own.
using FonctionListeStations = std::function<QStringList(const QString& groupe)>;
// The network listing: a broadcast query of the workgroup, then a node status of each member.
FonctionListeStations gListeStationsReseau(int delaiMs = 1500);

// The workgroup a search covers: this machine's own when `principal` is set (whatever the box holds), else the
// typed name, upper-cased as NetBIOS names are.
QString gDomaineRecherche(bool principal, const QString& saisie);

// Lists on a worker thread; `rappel` runs later on the thread of `contexte`, never once it is gone. Any failure
// of the listing gives an empty list.
void gListerStationsAsync(QObject* contexte,
                          const QString& groupe,
                          FonctionListeStations lister,
                          const std::function<void(QStringList)>& rappel);

} // namespace pv
