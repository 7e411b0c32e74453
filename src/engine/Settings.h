#pragma once

#include <QRect>
#include <QString>

#include <optional>

namespace pv {

inline constexpr auto SectionGeneral = "General";
inline constexpr auto SectionSignature = "Signature";
inline constexpr auto SectionRappel = "Rappel";

// How a captured message is shown.
enum class AffichageMessage { DifferenteFenetre = 0, UneSeuleFenetre = 1, InfoBulle = 2 };

struct PoliceMessage
{
    QString nom = QStringLiteral("Verdana");
    int taille = 10;
    bool gras = true;
    bool italique = false;
    bool souligne = false;
    qint32 couleur = 8388608; // red in the low byte, blue in the high byte
};

struct Parametres
{
    QString langue = QStringLiteral("ENG");
    QString fichierLangue; // program folder, "/pv.", language code
    QString touchesAccesRapide = QStringLiteral("3,77");
    QString policeMessageTexte = QStringLiteral("Verdana,10,1,0,0,8388608");
    PoliceMessage police;
    bool demarrerAvecSysteme = false;
    bool demarrerMinimise = false;
    bool minimiserSysTray = true;
    bool minimiserBoutonX = false;
    bool afficherStationAvecNomIP = false;
    bool garderPositionTailleFenetre = true;
    bool jouerFichierSon = false;
    QString fichierSon;
    QString signature; // with real line breaks
    bool ajouterSignature = false;
    bool capturerMessage = true;
    int intervalleCaptureMessage = 100;
    AffichageMessage affichageMessage = AffichageMessage::DifferenteFenetre;
    bool minimiserApresEnvoi = true;
    bool effacerMessageApresEnvoi = true;
    bool pingStationAvantEnvoi = true;
    int delaiAttente = 500;
    QString expediteur;
    QString caractereDevantReponseExpediteur = QStringLiteral("> ");
    int nbMessageMaxHistorique = 50;
    QString titreFenetreMessenger = QStringLiteral("Messenger Service ");
    QString enteteFenetreMessenger = QStringLiteral("Message from #EXPEDITEUR# to #DESTINATAIRE# on #DATE#");
    bool ajouterMessagePredefini = false;
    bool encrypterMessage = false;
};

// The settings store: an INI file per user, one section per store section. Set once at start-up.
QString gFichierParametres();
void gDefinirFichierParametres(const QString& path);

// GetSetting / SaveSetting. A failed write is reported once per session and the program goes on.
QString gObtenirParametre(const QString& section, const QString& cle, const QString& defaut = {});
void gEnregistrerParametre(const QString& section, const QString& cle, const QString& valeur);
void gSupprimerParametre(const QString& section, const QString& cle);

// The program-wide settings, filled by gChargerParametres.
Parametres& gParametres();
// Reads every setting with its default. A value that does not convert leaves the former one in place.
void gChargerParametres();
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
