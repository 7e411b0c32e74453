#include "engine/Reponse.h"

#include "addressbook/CarnetAdresses.h"
#include "common/DataFile.h"
#include "common/TexteSaisi.h"

#include <exception>

namespace pv {

Reponse gPreparerReponse(const QString& station, const QString& texte, bool citer, const QString& prefixe)
{
    Reponse r;
    r.station = gObtenirStation(station).trimmed().toUpper();
    try {
        if (gAjouterStations({r.station}) > 0) {
            gChargerUtilisateurGroupe();
        }
    } catch (const std::exception& e) {
        r.echecEcriture = QString::fromLocal8Bit(e.what());
    }
    r.texte = texte;
    if (citer && !r.texte.isEmpty()) {
        const QString debutLigne = QStringLiteral("\r\n") + prefixe;
        r.texte = QStringLiteral("\r\n") + debutLigne + r.texte.replace(QStringLiteral("\r\n"), debutLigne);
    }
    r.texte = gEnLF(r.texte);
    return r;
}

} // namespace pv
