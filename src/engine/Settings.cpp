#include "engine/Settings.h"

#include "common/Autostart.h"
#include "common/IniFile.h"
#include "common/Paths.h"

namespace pv {

void gChargerParametres()
{
    Parametres& p = gParametres();
    // One read of the store for every key.
    const QString fichier = gFichierParametres();
    const IniDocument store = fichier.isEmpty() ? IniDocument() : IniFile(fichier).loadOrEmpty();
    for (const Reglage& r : gReglages()) {
        const auto texte = store.value(QLatin1String(r.section), QLatin1String(r.cle));
        gAppliquerReglage(p, r, texte ? *texte : gDefautReglage(r));
    }
    p.fichierLangue = gDossierProgramme() + QStringLiteral("/pv.") + p.langue;
    p.demarrerAvecSysteme = gAutostartActif();
}

} // namespace pv
