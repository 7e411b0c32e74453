#include "addressbook/RechercheDomaine.h"

#include "messenger/Workgroup.h"

#include <QObject>

#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace pv {

FonctionListeStations gListeStationsReseau(int delaiMs)
{
    return [delaiMs](const QString& groupe) { return listWorkgroupStations(groupe, delaiMs); };
}

QString gDomaineRecherche(bool principal, const QString& saisie)
{
    return principal ? machineWorkgroup() : saisie.trimmed().toUpper();
}

void gListerStationsAsync(QObject* contexte,
                          const QString& groupe,
                          FonctionListeStations lister,
                          std::function<void(QStringList)> rappel)
{
    // The worker may outlive the window: it posts only while the window is alive, under the lock.
    struct Cible
    {
        std::mutex mutex;
        QObject* objet = nullptr;
    };
    auto cible = std::make_shared<Cible>();
    cible->objet = contexte;
    QObject::connect(contexte, &QObject::destroyed, [cible] {
        const std::lock_guard verrou(cible->mutex);
        cible->objet = nullptr;
    });
    const auto repondre = [cible, rappel](const QStringList& stations) {
        const std::lock_guard verrou(cible->mutex);
        if (cible->objet) {
            QMetaObject::invokeMethod(
                cible->objet, [rappel, stations] { rappel(stations); }, Qt::QueuedConnection);
        }
    };
    try {
        std::thread([groupe, lister = std::move(lister), repondre] {
            QStringList stations;
            try {
                stations = lister(groupe);
            } catch (const std::exception&) {
                // An unknown domain, no network: an empty list, as the search has always shown it.
            }
            repondre(stations);
        }).detach();
    } catch (const std::system_error&) {
        repondre({});
    }
}

} // namespace pv
