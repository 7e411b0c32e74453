#pragma once

#include "engine/HotKey.h"

#include <QList>
#include <QString>

#include <optional>

namespace pv {

struct PoliceMessage;

// A language file of the program's folder: "pv." and the language code, with the name it gives itself.
struct LangueDisponible
{
    QString fichier; // "pv.ENG"
    QString code;    // "ENG", what the setting "Langue" holds
    QString nom;     // key "Langue" of its section "Message"
};

// Every "pv.*" file of the folder but a program ("…EXE", any case), sorted by file name. A file that names no
// language shows its code.
QList<LangueDisponible> gListerLangues(const QString& dossier);

// The preferences' hot-key box after one key press: the modifiers held and, once a key that is no modifier comes
// with at least one of them, that key. The text is what the box shows ("Ctrl + Alt + M", or "Ctrl + " while only
// modifiers are held).
struct SaisieTouches
{
    HotKey touches; // virtualKey 0 until a complete combination
    QString texte;
};
SaisieTouches gSaisirTouches(int codeTouche, bool ctrl, bool shift, bool alt);

// The Windows virtual-key code of a Qt key, or 0 when it has none. Shifted punctuation gives its unshifted key,
// as on a US keyboard ("!" is the key 1).
int gCodeToucheWindows(int cleQt, bool paveNumerique = false);

// What the preferences window edits, as its controls hold it. Always filled whole, from the settings
// (gPreferencesActuelles) or from the window, so the defaults live in the settings only.
struct Preferences
{
    QString langue; // language code
    bool demarrerAvecSysteme = false;
    HotKey touchesAccesRapide;
    QString policeMessage; // "face,size,bold,italic,underline,colour"
    bool demarrerMinimise = false;
    bool minimiserSysTray = false;
    bool minimiserBoutonX = false;
    bool afficherStationAvecNomIP = false;
    bool garderPositionTailleFenetre = false;
    bool jouerFichierSon = false;
    QString fichierSon;
    bool capturerMessage = false;
    int affichageMessage = 0; // list position
    bool minimiserApresEnvoi = false;
    bool effacerMessageApresEnvoi = false;
    bool pingStationAvantEnvoi = false;
    QString delaiAttente;
    QString expediteur;
    QString caractereDevantReponseExpediteur;
    QString nbMessageMaxHistorique;
    bool ajouterSignature = false;
    QString signature; // line breaks as typed (LF or CR LF)
};

// The preferences as the program holds them now.
Preferences gPreferencesActuelles();

// mEnregistrerPreference: writes every preference, in the order the program has always written them, with the
// fallbacks for empty or invalid fields; the balloon display mode forces the tray option on (in `p` too). Starts or
// stops starting with the session (`programme` is the executable to start), makes the message font current at
// once, and registers a new sender name as an alias of the message service in `dossierSpool`. A store or autostart
// failure is shown and the rest still saved; returns why the new sender name could not become an alias, if it
// could not. The caller reloads the settings afterwards.
std::optional<QString> gEnregistrerPreferences(Preferences& p, const QString& programme, const QString& dossierSpool);

// The text of a message font as the preview shows it: "Verdana, 10 pt".
QString gTexteApercuPolice(const QString& police);
// The setting's text of a message font: "face,size,bold,italic,underline,colour".
QString gTextePolice(const PoliceMessage& police);

} // namespace pv
