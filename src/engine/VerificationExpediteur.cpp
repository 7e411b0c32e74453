#include "engine/VerificationExpediteur.h"
#include "common/MessengerText.h"

#include "common/TravailDeFond.h"
#include "messenger/NameQuery.h"

#include <QHostAddress>

#include <algorithm>

namespace pv {

ResolveursExpediteur gResolveursReseau(int delaiMs)
{
    return {[delaiMs](const QString& nom) { return resolveIpv4All(stdText(nom), delaiMs); },
            [delaiMs](const codec::NetbiosName& nom) {
                // Every answer: a name may be held by a multi-homed station.
                return broadcastNameQuery(nom, {codec::kNameServicePort, delaiMs, 3, false}).value_or({});
            }};
}

VerdictExpediteur gVerifierExpediteur(const QString& expediteur, const QString& pair, const ResolveursExpediteur& r)
{
    QHostAddress adresse;
    bool ok = false;
    const QString nom = expediteur.trimmed();
    if (nom.isEmpty() || !adresse.setAddress(pair.trimmed())) {
        return VerdictExpediteur::Indetermine;
    }
    const uint32_t ip = adresse.toIPv4Address(&ok);
    if (!ok) {
        return VerdictExpediteur::Indetermine;
    }
    bool connu = false;
    const auto contient = [&](const std::vector<uint32_t>& liste) {
        connu = connu || !liste.empty();
        return std::find(liste.begin(), liste.end(), ip) != liste.end();
    };
    if (r.resolveur && contient(r.resolveur(nom))) {
        return VerdictExpediteur::Confirme;
    }
    // The DNS name and the NetBIOS name of a station may differ: ask the LAN too.
    if (r.netbios && QHostAddress(nom).isNull()) {
        for (const uint8_t suffixe : {codec::kSuffixMessenger, codec::kSuffixWorkstation}) {
            const auto netbios = codec::netbiosNameFromText(stdText(nom), suffixe, codec::OemCodePage::Cp850);
            if (netbios && contient(r.netbios(*netbios))) {
                return VerdictExpediteur::Confirme;
            }
        }
    }
    // A name nobody answers for proves nothing: it may sit behind a router.
    return connu ? VerdictExpediteur::AutreAdresse : VerdictExpediteur::Indetermine;
}

void gVerifierExpediteurAsync(QObject* contexte,
                              const QString& expediteur,
                              const QString& pair,
                              std::function<void(VerdictExpediteur)> rappel,
                              ResolveursExpediteur resolveurs)
{
    // No thread: no answer, the window shows no warning.
    gTravaillerEnFond<VerdictExpediteur>(
        contexte,
        [expediteur, pair, resolveurs = std::move(resolveurs)] {
            return gVerifierExpediteur(expediteur, pair, resolveurs);
        },
        std::move(rappel));
}

} // namespace pv
