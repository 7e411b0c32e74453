#include "viewer/Historique.h"

#include "common/Scrambling.h"
#include "common/TexteSaisi.h"
#include "engine/Settings.h"

#include <algorithm>

namespace pv {

bool gHistoriqueEnvoye(TypeFenetre type)
{
    return type == TypeFenetre::HistoriqueEnvoye;
}

QString gClePositionFenetreMessage(TypeFenetre type)
{
    switch (type) {
    case TypeFenetre::HistoriqueRecu:
        return QStringLiteral("PositionTailleFenetreHistoriqueMessageRecu");
    case TypeFenetre::HistoriqueEnvoye:
        return QStringLiteral("PositionTailleFenetreHistoriqueMessageEnvoye");
    case TypeFenetre::Rappel:
        return QStringLiteral("PositionTailleFenetreRappel");
    case TypeFenetre::NouveauMessage:
        break;
    }
    return QStringLiteral("PositionTailleFenetreMessage");
}

QList<EntreeHistorique> gObtenirHistoriqueMessage(TypeFenetre type, const QString& cleDebut)
{
    QList<EntreeHistorique> entrees;
    for (EntreeHistorique& e : gLireHistorique(gHistoriqueEnvoye(type))) {
        if (!cleDebut.isEmpty() && e.cle < cleDebut) {
            continue;
        }
        // The scrambling leaves line breaks alone, so unscrambling after they were restored is the same.
        e.texte = gTexteLisible(e.texte);
        entrees.append(std::move(e));
    }
    return entrees;
}

QString gFormaterDateHeureCle(const QString& cle)
{
    const QString chiffres = cle.left(14).rightJustified(14, QLatin1Char(' '));
    return chiffres.left(4) + QLatin1Char('-') + chiffres.mid(4, 2) + QLatin1Char('-') + chiffres.mid(6, 2)
           + QLatin1Char(' ') + chiffres.mid(8, 2) + QLatin1Char(':') + chiffres.mid(10, 2) + QLatin1Char(':')
           + chiffres.mid(12, 2);
}

QString gNomAffiche(const QString& station)
{
    QString nom = gRechercherUtilisateur(station, false).description;
    if (gParametres().afficherStationAvecNomIP) {
        nom += QStringLiteral(" (") + station + QLatin1Char(')');
    }
    return nom;
}

QString gLigneChoix(const EntreeHistorique& entree)
{
    return gFormaterDateHeureCle(entree.cle) + QStringLiteral(" - ") + gNomAffiche(entree.station);
}

QStringList gLignesChoix(const QList<EntreeHistorique>& entrees)
{
    QStringList lignes;
    lignes.reserve(entrees.size());
    for (auto it = entrees.crbegin(); it != entrees.crend(); ++it) {
        lignes.append(gLigneChoix(*it));
    }
    return lignes;
}

int gIndexEntree(int nbLignes, int ligne)
{
    return ligne < 0 || ligne >= nbLignes ? -1 : nbLignes - ligne - 1;
}

std::optional<PositionRecherche>
gRechercherTexte(const QList<EntreeHistorique>& entrees, const QString& texte, int index, int position)
{
    if (texte.isEmpty()) {
        return std::nullopt;
    }
    for (int i = std::min(index, int(entrees.size()) - 1); i >= 0; --i, position = 1) {
        // Positions are those of the message box, which shows bare line feeds.
        const QString affiche = gEnLF(entrees.at(i).texte);
        const qsizetype p = affiche.indexOf(texte, std::max(position, 1) - 1, Qt::CaseInsensitive);
        if (p >= 0) {
            return PositionRecherche {i, int(p) + 1};
        }
    }
    return std::nullopt;
}

} // namespace pv
