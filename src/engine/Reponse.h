#pragma once

#include <QString>

#include <optional>

namespace pv {

// A reply (or a resend) made ready for the main window's message box.
struct Reponse
{
    QString station;                      // cut out of its display form, upper case
    QString texte;                        // LF line breaks, as the message box holds them
    std::optional<QString> echecEcriture; // why a new sender could not be kept as a user
};

// `station` may be a display form ("PC7 (Desk)"). A sender that is not a user yet becomes one and the user lists
// are read again; a name that cannot be kept is answered all the same. With `citer` set, a non-empty text comes
// below two empty lines, each of its lines behind `prefixe`; otherwise it is taken as it is.
Reponse gPreparerReponse(const QString& station, const QString& texte, bool citer, const QString& prefixe);

} // namespace pv
