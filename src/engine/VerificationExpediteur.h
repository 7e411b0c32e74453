#pragma once

#include "messenger/codec/NetbiosName.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class QObject;

namespace pv {

// Whether a message's peer address belongs to the sender it names: the name is free text, anyone can claim any.
enum class VerdictExpediteur {
    Confirme,     // the peer is one of the sender's addresses
    AutreAdresse, // the sender's addresses are known and the peer is not one of them
    Indetermine,  // no peer, or no address found for the sender
};

// How the sender's addresses are looked up; tests replace the network ones.
struct ResolveursExpediteur
{
    std::function<std::vector<uint32_t>(const QString&)> resolveur;          // hosts file, DNS; IPv4 literals
    std::function<std::vector<uint32_t>(const codec::NetbiosName&)> netbios; // broadcast name query
};
// The resolver and a NetBIOS broadcast query, each waiting at most delaiMs.
ResolveursExpediteur gResolveursReseau(int delaiMs = 1000);

// Blocking: it may wait on the resolver, then on two name queries.
VerdictExpediteur gVerifierExpediteur(const QString& expediteur,
                                      const QString& pair,
                                      const ResolveursExpediteur& resolveurs = gResolveursReseau());

// The same on a worker thread; `rappel` runs later on the thread of `contexte`, never once it is gone.
void gVerifierExpediteurAsync(QObject* contexte,
                              const QString& expediteur,
                              const QString& pair,
                              std::function<void(VerdictExpediteur)> rappel,
                              ResolveursExpediteur resolveurs = gResolveursReseau());

} // namespace pv
