#include "common/Parametres.h"

#include "common/DataFile.h"
#include "common/Error.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/MessengerText.h"
#include "common/TexteSaisi.h"
#include "messenger/Transport.h"

#include <QSet>

#include <cmath>
#include <limits>

namespace pv {

namespace {

QString g_fichierParametres;

using P = Parametres;
using C = Conversion;

// clang-format off
const Reglage Reglages[] = {
    {SectionGeneral, "Langue", "ENG", &P::langue, C::TexteNettoye, true},
    {SectionGeneral, "TouchesAccesRapide", "3,77", &P::touchesAccesRapide, C::Texte, true},
    {SectionGeneral, "PoliceMessage", "Verdana,10,1,0,0,8388608", &P::policeMessageTexte, C::Police, true},
    {SectionGeneral, "DemarrerMinimise", "0", &P::demarrerMinimise, C::Indicateur, true},
    {SectionGeneral, "MinimiserSysTray", "1", &P::minimiserSysTray, C::Indicateur, true},
    {SectionGeneral, "MinimiserBoutonX", "0", &P::minimiserBoutonX, C::Indicateur, true},
    {SectionGeneral, "AfficherStationAvecNomIP", "0", &P::afficherStationAvecNomIP, C::Indicateur, true},
    {SectionGeneral, "GarderPositionTailleFenetre", "1", &P::garderPositionTailleFenetre, C::Indicateur, true},
    {SectionGeneral, "JouerFichierSon", "0", &P::jouerFichierSon, C::Indicateur, true},
    {SectionGeneral, "FichierSon", "", &P::fichierSon, C::Texte, true},
    {SectionGeneral, "CapturerMessage", "1", &P::capturerMessage, C::Indicateur, true},
    {SectionGeneral, "AffichageMessage", "0", &P::affichageMessage, C::Affichage, true},
    {SectionGeneral, "MinimiserApresEnvoi", "1", &P::minimiserApresEnvoi, C::Indicateur, true},
    {SectionGeneral, "EffacerMessageApresEnvoi", "1", &P::effacerMessageApresEnvoi, C::Indicateur, true},
    {SectionGeneral, "PingStationAvantEnvoi", "1", &P::pingStationAvantEnvoi, C::Indicateur, true},
    {SectionGeneral, "DelaiAttente", "500", &P::delaiAttente, C::NombreInitial, true},
    {SectionGeneral, "Expediteur", nullptr, &P::expediteur, C::Texte, true},
    {SectionGeneral, "CaractereDevantReponseExpediteur", "> ", &P::caractereDevantReponseExpediteur, C::Texte, true},
    {SectionGeneral, "NbMessageMaxHistorique", "50", &P::nbMessageMaxHistorique, C::NombreInitial, true},
    {SectionSignature, "AjouterAutomatiquement", "0", &P::ajouterSignature, C::Indicateur, true},
    {SectionSignature, "Texte", "", &P::signature, C::TexteEncode, true},
    {SectionGeneral, "IntervalleCaptureMessage", "100", &P::intervalleCaptureMessage, C::NombreStrict, false},
    {SectionGeneral, "TitreFenetreMessenger", "Messenger Service ", &P::titreFenetreMessenger, C::Texte, false},
    {SectionGeneral, "EnteteFenetreMessenger", "Message from #EXPEDITEUR# to #DESTINATAIRE# on #DATE#",
     &P::enteteFenetreMessenger, C::Texte, false},
    {SectionGeneral, "AjouterMessagePredefini", "0", &P::ajouterMessagePredefini, C::Indicateur, false},
    {SectionGeneral, "EncrypterMessage", "0", &P::encrypterMessage, C::Indicateur, false},
};
// clang-format on

const Reglage& reglagePolice()
{
    return *gTrouverReglage(QLatin1String(SectionGeneral), QStringLiteral("PoliceMessage"));
}

} // namespace

PoliceMessage::PoliceMessage()
{
    gAnalyserPoliceMessage(QLatin1String(reglagePolice().defaut), *this);
}

Parametres::Parametres()
{
    for (const Reglage& r : Reglages) {
        if (r.defaut != nullptr) {
            gAppliquerReglage(*this, r, QString::fromUtf8(r.defaut));
        }
    }
}

std::span<const Reglage> gReglages()
{
    return Reglages;
}

const Reglage* gTrouverReglage(const QString& section, const QString& cle)
{
    for (const Reglage& r : Reglages) {
        if (section == QLatin1String(r.section) && cle == QLatin1String(r.cle)) {
            return &r;
        }
    }
    return nullptr;
}

QString gDefautReglage(const Reglage& reglage)
{
    // Typed names are upper-cased: the sender defaults to the host's NetBIOS name, as pilvanor-send sends it.
    return reglage.defaut != nullptr ? QString::fromUtf8(reglage.defaut) : qtext(localStationName());
}

void gAppliquerReglage(Parametres& p, const Reglage& reglage, const QString& texte)
{
    switch (reglage.conversion) {
    case Conversion::Texte:
        p.*std::get<QString Parametres::*>(reglage.champ) = texte;
        break;
    case Conversion::TexteNettoye:
        p.*std::get<QString Parametres::*>(reglage.champ) = texte.trimmed();
        break;
    case Conversion::TexteEncode:
        p.*std::get<QString Parametres::*>(reglage.champ) = gDecoderTexte(texte);
        break;
    case Conversion::Police:
        p.*std::get<QString Parametres::*>(reglage.champ) = texte;
        gAnalyserPoliceMessage(texte, p.police);
        break;
    case Conversion::Indicateur:
        if (const auto n = gValeurStricte(texte)) {
            p.*std::get<bool Parametres::*>(reglage.champ) = (*n == 1);
        }
        break;
    case Conversion::NombreStrict:
        if (const auto n = gValeurStricte(texte)) {
            p.*std::get<int Parametres::*>(reglage.champ) = *n;
        }
        break;
    case Conversion::NombreInitial:
        p.*std::get<int Parametres::*>(reglage.champ) = gValeurNombreInitial(texte);
        break;
    case Conversion::Affichage: {
        const int n = gValeurNombreInitial(texte);
        p.*std::get<AffichageMessage Parametres::*>(reglage.champ)
            = (n >= 0 && n <= 2) ? static_cast<AffichageMessage>(n) : AffichageMessage::DifferenteFenetre;
        break;
    }
    }
}

QString gTexteReglage(const Parametres& p, const Reglage& reglage)
{
    switch (reglage.conversion) {
    case Conversion::Texte:
    case Conversion::TexteNettoye:
    case Conversion::Police:
        return p.*std::get<QString Parametres::*>(reglage.champ);
    case Conversion::TexteEncode:
        return gEncoderTexte(gEnCRLF(p.*std::get<QString Parametres::*>(reglage.champ)));
    case Conversion::Indicateur:
        return gTexteIndicateur(p.*std::get<bool Parametres::*>(reglage.champ));
    case Conversion::NombreStrict:
    case Conversion::NombreInitial:
        return QString::number(p.*std::get<int Parametres::*>(reglage.champ));
    case Conversion::Affichage:
        return QString::number(static_cast<int>(p.*std::get<AffichageMessage Parametres::*>(reglage.champ)));
    }
    return {};
}

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
    static Parametres parametres;
    return parametres;
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
        gParametres().fichierLangue, QStringLiteral("ErreurEcritureFichier"), MsgStyle::Exclamation, {chemin, raison});
}

} // namespace pv
