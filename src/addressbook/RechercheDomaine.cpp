#include "addressbook/RechercheDomaine.h"
#include "common/MessengerText.h"

#include "common/TravailDeFond.h"
#include "messenger/Workgroup.h"

namespace pv {

FonctionListeStations gListeStationsReseau(int delaiMs)
{
    return [delaiMs](const QString& groupe) { return qtexts(listWorkgroupStations(stdText(groupe), delaiMs)); };
}

QString gDomaineRecherche(bool principal, const QString& saisie)
{
    return principal ? qtext(machineWorkgroup()) : saisie.trimmed().toUpper();
}

void gListerStationsAsync(QObject* contexte,
                          const QString& groupe,
                          FonctionListeStations lister,
                          const std::function<void(QStringList)>& rappel)
{
    const auto lancee = gTravaillerEnFond<QStringList>(
        contexte,
        [groupe, lister = std::move(lister)] {
            try {
                return lister(groupe);
            } catch (const std::exception&) {
                // An unknown domain, no network: an empty list, as the search has always shown it.
                return QStringList();
            }
        },
        rappel);
    if (!lancee) {
        QMetaObject::invokeMethod(
            contexte, [rappel] { rappel({}); }, Qt::QueuedConnection);
    }
}

} // namespace pv
