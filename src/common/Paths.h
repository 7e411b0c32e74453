#pragma once

#include <QString>

namespace pv {

inline constexpr auto TitreApplication = "Pilvanor";

// The per-user folders that stand in for the Windows special folders. Each honours its XDG variable, so a test
// with a temporary HOME touches nothing else.
enum class DossierSpecial {
    Donnees,       // $XDG_DATA_HOME, the application-data folder
    Configuration, // $XDG_CONFIG_HOME, where the settings store lives
    Etat,          // $XDG_STATE_HOME, where the message service keeps its spool
    Execution,     // $XDG_RUNTIME_DIR, else the temporary folder
};

// Empty when neither the variable nor HOME gives a folder.
QString gObtenirDossierSpecial(DossierSpecial dossier);

// Folder of the user's data ("Pilvanor" under the application-data folder) and the data file in it.
QString gDossierDonnees();
QString gCheminFichierDonneesParDefaut();
// The settings store.
QString gCheminFichierParametres();

// The program's folder: the executable's own folder when it holds the language files (a build tree, a
// hand-unpacked copy), else the installed shared folder.
QString gDossierProgramme();
// The same choice for an executable in dossierExecutable: its own folder, else ../share/pilvanor beside it (an
// install under any prefix or DESTDIR), else the folder this build was configured to install into.
QString gDossierProgrammePour(const QString& dossierExecutable);
// Tests and unusual installs point it elsewhere.
void gDefinirDossierProgramme(const QString& dossier);

} // namespace pv
