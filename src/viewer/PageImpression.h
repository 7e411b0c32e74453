#pragma once

#include "viewer/Historique.h"

#include <QString>

namespace pv {

// What a printed message is made of; the captions are the window's own.
struct PageImpression
{
    TypeFenetre type = TypeFenetre::NouveauMessage;
    QString legendeExpediteur; // the sender frame's caption
    QString expediteur;
    QString legendeDateHeure;
    QString dateHeure;
    QString titreRappel; // heads a reminder instead of the sender
    QString message;     // the selection when only that is printed
    int longueurRegle = 0;
};

// The text of the printed page: two empty lines, the sender line with its caption (the reminder title for a
// reminder), the date line, a rule of "_", two empty lines, then the message. Sender and date captions are
// right-aligned to each other. Line breaks are CR LF.
QString gTexteImpression(const PageImpression& page);

} // namespace pv
