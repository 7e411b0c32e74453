#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace pv {

// What a start asks of the running instance (or of itself when none runs).
struct Demande
{
    enum class Action { Afficher, NouveauMessage, Aide };

    Action action = Action::Afficher;
    QString station;  // NouveauMessage: the recipient, upper case; empty leaves the recipient as it is
    QByteArray jeton; // the desktop's activation token of this start, handed on so the window may come forward

    friend bool operator==(const Demande&, const Demande&) = default;
};

// The request of a command line (the program's name first). Throws std::invalid_argument with a text for the
// user on an unknown option or a recipient that is no station list.
Demande gLireLigneCommande(const QStringList& arguments);

// What --help prints.
QString gUsageLigneCommande();

// One line of the single-instance socket: the action, then tab-separated fields, then a line feed. A plain
// "show" line (no fields) is what every start without options sends.
QByteArray gEncoderDemande(const Demande& demande);
std::optional<Demande> gDecoderDemande(const QByteArray& ligne);

} // namespace pv
