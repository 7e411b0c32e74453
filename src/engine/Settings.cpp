#include "engine/Settings.h"
#include "common/MessengerText.h"

#include "common/Autostart.h"
#include "common/DataFile.h"
#include "common/Error.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "messenger/Transport.h"

#include <QSet>

#include <cmath>
#include <limits>

namespace pv {

namespace {

QString g_fichierParametres;
Parametres g_parametres;

} // namespace

QString gFichierParametres()
{
    return g_fichierParametres;
}

void gDefinirFichierParametres(const QString& path)
{
    g_fichierParametres = path;
}

QString gObtenirParametre(const QString& section, const QString& cle, const QString& defaut)
{
    if (g_fichierParametres.isEmpty()) {
        return defaut;
    }
    // Verbatim: some values end in a meaningful blank ("> ", the pop-up title); conversions trim for themselves.
    return IniFile(g_fichierParametres).value(section, cle).value_or(defaut);
}

void gEnregistrerParametre(const QString& section, const QString& cle, const QString& valeur)
{
    try {
        IniFile(g_fichierParametres).writeString(section, cle, valeur);
    } catch (const Error& e) {
        gSignalerEchecEcriture(g_fichierParametres, e.text());
    }
}

void gSupprimerParametre(const QString& section, const QString& cle)
{
    try {
        IniFile(g_fichierParametres).writeString(section, cle, std::nullopt);
    } catch (const Error& e) {
        gSignalerEchecEcriture(g_fichierParametres, e.text());
    }
}

Parametres& gParametres()
{
    return g_parametres;
}

int gValeurNombreInitial(const QString& texte)
{
    qsizetype i = 0;
    while (i < texte.size() && texte[i].isSpace()) {
        ++i;
    }
    bool negatif = false;
    if (i < texte.size() && (texte[i] == QLatin1Char('-') || texte[i] == QLatin1Char('+'))) {
        negatif = texte[i] == QLatin1Char('-');
        ++i;
    }
    qint64 n = 0;
    for (; i < texte.size() && texte[i] >= QLatin1Char('0') && texte[i] <= QLatin1Char('9'); ++i) {
        n = qMin<qint64>(n * 10 + (texte[i].unicode() - '0'), std::numeric_limits<int>::max());
    }
    return static_cast<int>(negatif ? -n : n);
}

std::optional<int> gValeurStricte(const QString& texte)
{
    const QString t = texte.trimmed();
    bool ok = false;
    const int n = t.toInt(&ok);
    if (ok) {
        return n;
    }
    const double d = t.toDouble(&ok);
    if (ok && std::isfinite(d) && std::fabs(d) < std::numeric_limits<int>::max()) {
        return static_cast<int>(std::nearbyint(d));
    }
    return std::nullopt;
}

QString gTexteIndicateur(bool valeur)
{
    return valeur ? QStringLiteral("1") : QStringLiteral("0");
}

void gAnalyserPoliceMessage(const QString& texte, PoliceMessage& police)
{
    const QStringList f = texte.split(QLatin1Char(','));
    police.nom = f.value(0).trimmed();
    // Each later field is taken only when the text reaches it and it converts.
    if (f.size() > 1) {
        if (auto n = gValeurStricte(f[1])) {
            police.taille = *n;
        }
    }
    bool* styles[] = {&police.gras, &police.italique, &police.souligne};
    for (int i = 0; i < 3; ++i) {
        if (f.size() > 2 + i) {
            if (auto n = gValeurStricte(f[2 + i])) {
                *styles[i] = (*n != 0);
            }
        }
    }
    if (f.size() > 5) {
        if (auto n = gValeurStricte(f[5])) {
            police.couleur = *n;
        }
    }
}

QString gTextePoliceMessage(const PoliceMessage& police)
{
    return QStringList({police.nom,
                        QString::number(police.taille),
                        gTexteIndicateur(police.gras),
                        gTexteIndicateur(police.italique),
                        gTexteIndicateur(police.souligne),
                        QString::number(police.couleur)})
        .join(QLatin1Char(','));
}

void gChargerParametres()
{
    Parametres& p = g_parametres;
    // One read of the store for every key.
    const IniDocument store
        = g_fichierParametres.isEmpty() ? IniDocument() : IniFile(g_fichierParametres).loadOrEmpty();
    auto lireDans = [&](const char* section, const char* cle, const QString& defaut) {
        return store.value(QLatin1String(section), QLatin1String(cle)).value_or(defaut);
    };
    auto lire = [&](const char* cle, const QString& defaut) { return lireDans(SectionGeneral, cle, defaut); };
    // Flags convert strictly: a text that is not a number leaves the former value.
    auto lireIndicateur = [&](const char* section, const char* cle, const char* defaut, bool& cible) {
        if (auto n = gValeurStricte(lireDans(section, cle, QLatin1String(defaut)))) {
            cible = (*n == 1);
        }
    };

    p.langue = lire("Langue", QStringLiteral("ENG")).trimmed();
    p.fichierLangue = gDossierProgramme() + QStringLiteral("/pv.") + p.langue;
    p.touchesAccesRapide = lire("TouchesAccesRapide", QStringLiteral("3,77"));
    p.policeMessageTexte = lire("PoliceMessage", QStringLiteral("Verdana,10,1,0,0,8388608"));
    gAnalyserPoliceMessage(p.policeMessageTexte, p.police);
    p.demarrerAvecSysteme = gAutostartActif();

    lireIndicateur(SectionGeneral, "DemarrerMinimise", "0", p.demarrerMinimise);
    lireIndicateur(SectionGeneral, "MinimiserSysTray", "1", p.minimiserSysTray);
    lireIndicateur(SectionGeneral, "MinimiserBoutonX", "0", p.minimiserBoutonX);
    lireIndicateur(SectionGeneral, "AfficherStationAvecNomIP", "0", p.afficherStationAvecNomIP);
    lireIndicateur(SectionGeneral, "GarderPositionTailleFenetre", "1", p.garderPositionTailleFenetre);
    lireIndicateur(SectionGeneral, "JouerFichierSon", "0", p.jouerFichierSon);
    p.fichierSon = lire("FichierSon", QString());
    p.signature = gDecoderTexte(lireDans(SectionSignature, "Texte", QString()));
    lireIndicateur(SectionSignature, "AjouterAutomatiquement", "0", p.ajouterSignature);
    lireIndicateur(SectionGeneral, "CapturerMessage", "1", p.capturerMessage);
    if (auto n = gValeurStricte(lire("IntervalleCaptureMessage", QStringLiteral("100")))) {
        p.intervalleCaptureMessage = *n;
    }
    const int affichage = gValeurNombreInitial(lire("AffichageMessage", QStringLiteral("0")));
    p.affichageMessage = (affichage >= 0 && affichage <= 2) ? static_cast<AffichageMessage>(affichage)
                                                            : AffichageMessage::DifferenteFenetre;
    lireIndicateur(SectionGeneral, "MinimiserApresEnvoi", "1", p.minimiserApresEnvoi);
    lireIndicateur(SectionGeneral, "EffacerMessageApresEnvoi", "1", p.effacerMessageApresEnvoi);
    lireIndicateur(SectionGeneral, "PingStationAvantEnvoi", "1", p.pingStationAvantEnvoi);
    p.delaiAttente = gValeurNombreInitial(lire("DelaiAttente", QStringLiteral("500")));
    // Typed names are upper-cased: the default is the host's NetBIOS name, as pilvanor-send sends it.
    p.expediteur = lire("Expediteur", qtext(localStationName()));
    p.caractereDevantReponseExpediteur = lire("CaractereDevantReponseExpediteur", QStringLiteral("> "));
    p.nbMessageMaxHistorique = gValeurNombreInitial(lire("NbMessageMaxHistorique", QStringLiteral("50")));
    p.titreFenetreMessenger = lire("TitreFenetreMessenger", QStringLiteral("Messenger Service "));
    p.enteteFenetreMessenger
        = lire("EnteteFenetreMessenger", QStringLiteral("Message from #EXPEDITEUR# to #DESTINATAIRE# on #DATE#"));
    lireIndicateur(SectionGeneral, "AjouterMessagePredefini", "0", p.ajouterMessagePredefini);
    lireIndicateur(SectionGeneral, "EncrypterMessage", "0", p.encrypterMessage);
}

std::optional<QRect> gLirePositionFenetre(const QString& cle)
{
    const QStringList f = gObtenirParametre(QLatin1String(SectionGeneral), cle).split(QLatin1Char(','));
    if (f.size() != 4) {
        return std::nullopt;
    }
    int v[4];
    for (int i = 0; i < 4; ++i) {
        const auto n = gValeurStricte(f[i]);
        if (!n) {
            return std::nullopt;
        }
        v[i] = *n;
    }
    if (v[2] <= 0 || v[3] <= 0) {
        return std::nullopt;
    }
    return QRect(v[0], v[1], v[2], v[3]);
}

void gEnregistrerPositionFenetre(const QString& cle, const QRect& rect)
{
    gEnregistrerParametre(
        QLatin1String(SectionGeneral),
        cle,
        QStringLiteral("%1,%2,%3,%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height()));
}

void gSignalerEchecEcriture(const QString& chemin, const QString& raison)
{
    static QSet<QString> dejaSignales;
    if (dejaSignales.contains(chemin)) {
        return;
    }
    dejaSignales.insert(chemin);
    gMessage(
        g_parametres.fichierLangue, QStringLiteral("ErreurEcritureFichier"), MsgStyle::Exclamation, {chemin, raison});
}

} // namespace pv
