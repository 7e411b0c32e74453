#include "settings/Preferences.h"
#include "common/MessengerText.h"

#include "common/Autostart.h"
#include "common/DataFile.h"
#include "common/Error.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/TexteSaisi.h"
#include "engine/Settings.h"
#include "messenger/Names.h"
#include "messenger/Transport.h"

#include <QDir>
#include <QHash>

#include <utility>

namespace pv {

namespace {

constexpr int VkShift = 16, VkControl = 17, VkMenu = 18;

// Qt keys beyond the letters, digits and function keys, with their virtual-key codes.
constexpr std::pair<int, int> AutresTouches[] = {
    {Qt::Key_Backspace, 0x08},
    {Qt::Key_Tab, 0x09},
    {Qt::Key_Backtab, 0x09},
    {Qt::Key_Return, 0x0D},
    {Qt::Key_Enter, 0x0D},
    {Qt::Key_Shift, VkShift},
    {Qt::Key_Control, VkControl},
    {Qt::Key_Alt, VkMenu},
    {Qt::Key_Pause, 0x13},
    {Qt::Key_CapsLock, 0x14},
    {Qt::Key_Escape, 0x1B},
    {Qt::Key_Space, 0x20},
    {Qt::Key_PageUp, 0x21},
    {Qt::Key_PageDown, 0x22},
    {Qt::Key_End, 0x23},
    {Qt::Key_Home, 0x24},
    {Qt::Key_Left, 0x25},
    {Qt::Key_Up, 0x26},
    {Qt::Key_Right, 0x27},
    {Qt::Key_Down, 0x28},
    {Qt::Key_Print, 0x2C},
    {Qt::Key_Insert, 0x2D},
    {Qt::Key_Delete, 0x2E},
    {Qt::Key_Menu, 0x5D},
    {Qt::Key_NumLock, 0x90},
    {Qt::Key_ScrollLock, 0x91},
    // US punctuation, shifted or not.
    {Qt::Key_Semicolon, 0xBA},
    {Qt::Key_Colon, 0xBA},
    {Qt::Key_Equal, 0xBB},
    {Qt::Key_Plus, 0xBB},
    {Qt::Key_Comma, 0xBC},
    {Qt::Key_Less, 0xBC},
    {Qt::Key_Minus, 0xBD},
    {Qt::Key_Underscore, 0xBD},
    {Qt::Key_Period, 0xBE},
    {Qt::Key_Greater, 0xBE},
    {Qt::Key_Slash, 0xBF},
    {Qt::Key_Question, 0xBF},
    {Qt::Key_QuoteLeft, 0xC0},
    {Qt::Key_AsciiTilde, 0xC0},
    {Qt::Key_BracketLeft, 0xDB},
    {Qt::Key_BraceLeft, 0xDB},
    {Qt::Key_Backslash, 0xDC},
    {Qt::Key_Bar, 0xDC},
    {Qt::Key_BracketRight, 0xDD},
    {Qt::Key_BraceRight, 0xDD},
    {Qt::Key_Apostrophe, 0xDE},
    {Qt::Key_QuoteDbl, 0xDE},
    // Shifted digits.
    {Qt::Key_Exclam, '1'},
    {Qt::Key_At, '2'},
    {Qt::Key_NumberSign, '3'},
    {Qt::Key_Dollar, '4'},
    {Qt::Key_Percent, '5'},
    {Qt::Key_AsciiCircum, '6'},
    {Qt::Key_Ampersand, '7'},
    {Qt::Key_Asterisk, '8'},
    {Qt::Key_ParenLeft, '9'},
    {Qt::Key_ParenRight, '0'},
};

// Keys of the numeric keypad.
constexpr std::pair<int, int> ToucheDuPave[] = {
    {Qt::Key_Asterisk, 0x6A},
    {Qt::Key_Plus, 0x6B},
    {Qt::Key_Minus, 0x6D},
    {Qt::Key_Period, 0x6E},
    {Qt::Key_Comma, 0x6E},
    {Qt::Key_Slash, 0x6F},
    {Qt::Key_Enter, 0x0D},
};

QString texteOuDefaut(const QString& texte, const QString& defaut)
{
    return texte.isEmpty() ? defaut : texte;
}

} // namespace

QList<LangueDisponible> gListerLangues(const QString& dossier)
{
    QList<LangueDisponible> out;
    const QDir dir(dossier);
    for (const QString& fichier : dir.entryList({QStringLiteral("pv.*")}, QDir::Files, QDir::Name)) {
        if (!fichier.startsWith(QLatin1String("pv."), Qt::CaseInsensitive)
            || fichier.endsWith(QLatin1String("EXE"), Qt::CaseInsensitive)) {
            continue;
        }
        const QString code = fichier.mid(3);
        const QString nom
            = IniFile(dir.filePath(fichier)).readString(QStringLiteral("Message"), QStringLiteral("Langue"));
        out.append({fichier, code, nom.trimmed().isEmpty() ? code : nom.trimmed()});
    }
    return out;
}

SaisieTouches gSaisirTouches(int codeTouche, bool ctrl, bool shift, bool alt)
{
    SaisieTouches s;
    if (ctrl) {
        s.texte += QLatin1String("Ctrl + ");
        s.touches.modifiers = HotKey::Ctrl;
    }
    if (shift) {
        s.texte += QLatin1String("Shift + ");
        s.touches.modifiers |= HotKey::Shift;
    }
    if (alt) {
        s.texte += QLatin1String("Alt + ");
        s.touches.modifiers |= HotKey::Alt;
    }
    if (codeTouche > 0 && codeTouche != VkShift && codeTouche != VkControl && codeTouche != VkMenu
        && s.touches.modifiers != 0) {
        s.touches.virtualKey = codeTouche;
        s.texte = hotKeyDisplayText(s.touches);
    }
    return s;
}

int gCodeToucheWindows(int cleQt, bool paveNumerique)
{
    if (paveNumerique) {
        if (cleQt >= Qt::Key_0 && cleQt <= Qt::Key_9) {
            return 0x60 + (cleQt - Qt::Key_0);
        }
        for (const auto& [cle, code] : ToucheDuPave) {
            if (cle == cleQt) {
                return code;
            }
        }
    }
    if ((cleQt >= Qt::Key_A && cleQt <= Qt::Key_Z) || (cleQt >= Qt::Key_0 && cleQt <= Qt::Key_9)) {
        return cleQt; // the same codes
    }
    if (cleQt >= Qt::Key_F1 && cleQt <= Qt::Key_F24) {
        return 0x70 + (cleQt - Qt::Key_F1);
    }
    for (const auto& [cle, code] : AutresTouches) {
        if (cle == cleQt) {
            return code;
        }
    }
    return 0;
}

QString gTextePolice(const PoliceMessage& police)
{
    return QStringLiteral("%1,%2,%3,%4,%5,%6")
        .arg(police.nom)
        .arg(police.taille)
        .arg(gTexteIndicateur(police.gras), gTexteIndicateur(police.italique), gTexteIndicateur(police.souligne))
        .arg(police.couleur);
}

QString gTexteApercuPolice(const QString& police)
{
    PoliceMessage p;
    gAnalyserPoliceMessage(police, p);
    return p.nom + QStringLiteral(", ") + QString::number(p.taille) + QStringLiteral(" pt");
}

Preferences gPreferencesActuelles()
{
    const Parametres& p = gParametres();
    Preferences r;
    r.langue = p.langue;
    r.demarrerAvecSysteme = p.demarrerAvecSysteme;
    r.touchesAccesRapide = parseHotKeyText(p.touchesAccesRapide).value_or(HotKey {});
    r.policeMessage = p.policeMessageTexte;
    r.demarrerMinimise = p.demarrerMinimise;
    r.minimiserSysTray = p.minimiserSysTray;
    r.minimiserBoutonX = p.minimiserBoutonX;
    r.afficherStationAvecNomIP = p.afficherStationAvecNomIP;
    r.garderPositionTailleFenetre = p.garderPositionTailleFenetre;
    r.jouerFichierSon = p.jouerFichierSon;
    r.fichierSon = p.fichierSon;
    r.capturerMessage = p.capturerMessage;
    r.affichageMessage = static_cast<int>(p.affichageMessage);
    r.minimiserApresEnvoi = p.minimiserApresEnvoi;
    r.effacerMessageApresEnvoi = p.effacerMessageApresEnvoi;
    r.pingStationAvantEnvoi = p.pingStationAvantEnvoi;
    r.delaiAttente = QString::number(p.delaiAttente);
    r.expediteur = p.expediteur;
    r.caractereDevantReponseExpediteur = p.caractereDevantReponseExpediteur;
    r.nbMessageMaxHistorique = QString::number(p.nbMessageMaxHistorique);
    r.ajouterSignature = p.ajouterSignature;
    r.signature = p.signature;
    return r;
}

std::optional<QString> gEnregistrerPreferences(Preferences& p, const QString& programme, const QString& dossierSpool)
{
    Parametres& actuels = gParametres();
    try {
        if (p.demarrerAvecSysteme) {
            gActiverAutostart(programme);
        } else {
            gDesactiverAutostart();
        }
    } catch (const Error& e) {
        gSignalerEchecEcriture(gCheminAutostart(), e.text());
    }

    // The balloon needs the tray icon.
    if (p.affichageMessage != 0 && p.affichageMessage != 1) {
        p.minimiserSysTray = true;
    }
    auto defaut = [](const char* cle) {
        return gDefautReglage(*gTrouverReglage(QLatin1String(SectionGeneral), QLatin1String(cle)));
    };
    // A combination is kept only with its key; modifiers alone are no hot key.
    const HotKey touches = p.touchesAccesRapide.virtualKey != 0 ? p.touchesAccesRapide : HotKey {};
    const QHash<QString, QString> valeurs = {
        {QStringLiteral("Langue"), p.langue},
        {QStringLiteral("TouchesAccesRapide"), hotKeyText(touches)},
        {QStringLiteral("PoliceMessage"), p.policeMessage},
        {QStringLiteral("DemarrerMinimise"), gTexteIndicateur(p.demarrerMinimise)},
        {QStringLiteral("MinimiserSysTray"), gTexteIndicateur(p.minimiserSysTray)},
        {QStringLiteral("MinimiserBoutonX"), gTexteIndicateur(p.minimiserBoutonX)},
        {QStringLiteral("AfficherStationAvecNomIP"), gTexteIndicateur(p.afficherStationAvecNomIP)},
        {QStringLiteral("GarderPositionTailleFenetre"), gTexteIndicateur(p.garderPositionTailleFenetre)},
        {QStringLiteral("JouerFichierSon"), gTexteIndicateur(p.jouerFichierSon)},
        {QStringLiteral("FichierSon"), p.fichierSon},
        {QStringLiteral("CapturerMessage"), gTexteIndicateur(p.capturerMessage)},
        {QStringLiteral("AffichageMessage"), QString::number(p.affichageMessage)},
        {QStringLiteral("MinimiserApresEnvoi"), gTexteIndicateur(p.minimiserApresEnvoi)},
        {QStringLiteral("EffacerMessageApresEnvoi"), gTexteIndicateur(p.effacerMessageApresEnvoi)},
        {QStringLiteral("PingStationAvantEnvoi"), gTexteIndicateur(p.pingStationAvantEnvoi)},
        {QStringLiteral("DelaiAttente"), texteOuDefaut(p.delaiAttente, defaut("DelaiAttente"))},
        {QStringLiteral("Expediteur"), texteOuDefaut(p.expediteur, defaut("Expediteur"))},
        {QStringLiteral("CaractereDevantReponseExpediteur"), p.caractereDevantReponseExpediteur},
        {QStringLiteral("NbMessageMaxHistorique"),
         gValeurNombreInitial(p.nbMessageMaxHistorique) > 0 ? p.nbMessageMaxHistorique
                                                            : defaut("NbMessageMaxHistorique")},
        {QStringLiteral("AjouterAutomatiquement"), gTexteIndicateur(p.ajouterSignature)},
        {QStringLiteral("Texte"), gEncoderTexte(gEnCRLF(p.signature))},
    };

    // One atomic write; keys new to the store go in the order the program has always saved them.
    try {
        IniFile(gFichierParametres()).update([&](IniDocument& doc) {
            for (const Reglage& r : gReglages()) {
                if (r.preference) {
                    doc.setValue(QLatin1String(r.section), QLatin1String(r.cle), valeurs.value(QLatin1String(r.cle)));
                }
            }
        });
    } catch (const Error& e) {
        gSignalerEchecEcriture(gFichierParametres(), e.text());
    }
    // The message font is current at once, before the settings are read again.
    actuels.policeMessageTexte = p.policeMessage;
    gAnalyserPoliceMessage(p.policeMessage, actuels.police);

    // Messages sent to the new name reach this station too; the old name stays an alias.
    if (!p.expediteur.isEmpty() && p.expediteur != actuels.expediteur) {
        if (const Status ajoute = ServiceNames(stdText(dossierSpool)).add(stdText(p.expediteur)); !ajoute) {
            return qtext(ajoute.error().text);
        }
    }
    return std::nullopt;
}

} // namespace pv
