#include "viewer/PageImpression.h"

#include <algorithm>

namespace pv {

QString gTexteImpression(const PageImpression& page)
{
    const QString crlf = QStringLiteral("\r\n");
    const QString deuxPoints = QStringLiteral(": ");
    QString entete;
    if (page.type == TypeFenetre::Rappel) {
        entete = page.titreRappel + crlf + page.legendeDateHeure + deuxPoints + page.dateHeure;
    } else {
        const qsizetype largeur = std::max(page.legendeExpediteur.size(), page.legendeDateHeure.size());
        entete = page.legendeExpediteur.rightJustified(largeur) + deuxPoints + page.expediteur + crlf
                 + page.legendeDateHeure.rightJustified(largeur) + deuxPoints + page.dateHeure;
    }
    return crlf + crlf + entete + crlf + QString(std::max(0, page.longueurRegle), QLatin1Char('_')) + crlf + crlf + crlf
           + page.message;
}

} // namespace pv
