#pragma once

#include <QRect>
#include <QString>

#include <optional>
#include <span>
#include <variant>

namespace pv {

inline constexpr auto SectionGeneral = "General";
inline constexpr auto SectionSignature = "Signature";
inline constexpr auto SectionRappel = "Rappel";

// How a captured message is shown.
enum class AffichageMessage { DifferenteFenetre = 0, UneSeuleFenetre = 1, InfoBulle = 2 };

// The parts of a "PoliceMessage" text; a default one is that setting's default.
struct PoliceMessage
{
    PoliceMessage();

    QString nom;
    int taille = 0;
    bool gras = false;
    bool italique = false;
    bool souligne = false;
    qint32 couleur = 0; // red in the low byte, blue in the high byte
};

// The program-wide settings. A default-built one holds every default of the table below (the sender, which
// defaults to the station's own name, stays empty until loaded).
struct Parametres
{
    Parametres();

    QString langue;
    QString fichierLangue; // program folder, "/pv.", language code
    QString touchesAccesRapide;
    QString policeMessageTexte;
    PoliceMessage police;
    bool demarrerAvecSysteme = false; // the autostart entry, not the store
    bool demarrerMinimise = false;
    bool minimiserSysTray = false;
    bool minimiserBoutonX = false;
    bool afficherStationAvecNomIP = false;
    bool garderPositionTailleFenetre = false;
    bool jouerFichierSon = false;
    QString fichierSon;
    QString signature; // with real line breaks
    bool ajouterSignature = false;
    bool capturerMessage = false;
    int intervalleCaptureMessage = 0;
    AffichageMessage affichageMessage = AffichageMessage::DifferenteFenetre;
    bool minimiserApresEnvoi = false;
    bool effacerMessageApresEnvoi = false;
    bool pingStationAvantEnvoi = false;
    int delaiAttente = 0;
    QString expediteur;
    QString caractereDevantReponseExpediteur;
    int nbMessageMaxHistorique = 0;
    QString titreFenetreMessenger;
    QString enteteFenetreMessenger;
    bool ajouterMessagePredefini = false;
    bool encrypterMessage = false;
};

// How a stored text becomes a setting's value. A text that does not convert leaves the former value, except for
// the leading-number kinds, which read what they can.
enum class Conversion {
    Texte,         // verbatim: some values end in a meaningful blank ("> ", the pop-up title)
    TexteNettoye,  // trimmed
    Indicateur,    // strictly a number; on only when 1
    NombreStrict,  // strictly a number
    NombreInitial, // the leading number ("12abc" is 12, "abc" is 0)
    Affichage,     // leading number, 0 to 2; anything else is 0
    TexteEncode,   // line breaks stored as "¶"
    Police,        // "face,size,bold,italic,underline,colour", parsed into `police` as well
};

using ChampParametre
    = std::variant<QString Parametres::*, bool Parametres::*, int Parametres::*, AffichageMessage Parametres::*>;

// One setting of the store: where it lives, its default, the value it fills and whether the preferences window
// writes it.
struct Reglage
{
    const char* section;
    const char* cle;
    const char* defaut; // nullptr: the station's own NetBIOS name
    ChampParametre champ;
    Conversion conversion;
    bool preference;
};

// Every setting, in the order the preferences have always been written.
std::span<const Reglage> gReglages();
// The row of a key of section "General" or "Signature"; nullptr when there is none.
const Reglage* gTrouverReglage(const QString& section, const QString& cle);
QString gDefautReglage(const Reglage& reglage);
// Sets the value from a stored text.
void gAppliquerReglage(Parametres& p, const Reglage& reglage, const QString& texte);
// The value as it is stored.
QString gTexteReglage(const Parametres& p, const Reglage& reglage);

// The settings store: an INI file per user, one section per store section. Set once at start-up.
QString gFichierParametres();
void gDefinirFichierParametres(const QString& path);

// GetSetting / SaveSetting. A failed write is reported once per session and the program goes on.
QString gObtenirParametre(const QString& section, const QString& cle, const QString& defaut = {});
void gEnregistrerParametre(const QString& section, const QString& cle, const QString& valeur);
void gSupprimerParametre(const QString& section, const QString& cle);

// The program-wide settings, filled by the loader at start-up and after the preferences are saved.
Parametres& gParametres();
// Fills the font from a "face,size,bold,italic,underline,colour" text; a shorter text leaves the later parts.
void gAnalyserPoliceMessage(const QString& texte, PoliceMessage& police);
// The font back in its setting form.
QString gTextePoliceMessage(const PoliceMessage& police);

// Conversions of stored texts: by leading number ("12abc" is 12, "abc" is 0), or strictly (nullopt when the
// text is not a number).
int gValeurNombreInitial(const QString& texte);
std::optional<int> gValeurStricte(const QString& texte);
QString gTexteIndicateur(bool valeur);

// Window position keys: left, top, width and height joined by ",".
std::optional<QRect> gLirePositionFenetre(const QString& cle);
void gEnregistrerPositionFenetre(const QString& cle, const QRect& rect);

// Reports a problem with a file once per session, however often it happens.
void gSignalerEchecEcriture(const QString& chemin, const QString& raison);

} // namespace pv
