#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace pv {

// Runs `travail` on a thread of its own, then `rappel` with its result on the thread of `contexte`, unless
// `contexte` is gone by then: the worker may outlive it. False when no thread could be started.
template<typename Resultat>
bool gTravaillerEnFond(QObject* contexte, std::function<Resultat()> travail, std::function<void(Resultat)> rappel)
{
    // The worker posts only while the context is alive, under the lock.
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
    try {
        std::thread([cible, travail = std::move(travail), rappel = std::move(rappel)] {
            const Resultat resultat = travail();
            const std::lock_guard verrou(cible->mutex);
            if (cible->objet) {
                QMetaObject::invokeMethod(
                    cible->objet, [rappel, resultat] { rappel(resultat); }, Qt::QueuedConnection);
            }
        }).detach();
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

} // namespace pv
