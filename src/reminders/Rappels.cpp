#include "reminders/Rappels.h"

#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/TexteSaisi.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QDateTime>

#include <algorithm>

namespace pv {

namespace {

const QString FormatDate = QStringLiteral("yyyyMMdd");
const QString FormatHeure = QStringLiteral("HHmm");
const QLatin1Char Separateur('|');

// Characters of `texte` placed in the "@" of `masque` from the right, blanks where the text runs out.
QString masquer(const QString& texte, const QString& masque)
{
    QString r = masque;
    qsizetype j = texte.size();
    for (qsizetype i = r.size() - 1; i >= 0; --i) {
        if (r[i] == QLatin1Char('@')) {
            r[i] = j > 0 ? texte[--j] : QLatin1Char(' ');
        }
    }
    return r;
}

// Monday 1 … Sunday 7, as QDate counts.
int jourSemaine(const QDate& date)
{
    return date.dayOfWeek();
}

} // namespace

std::optional<TypeRappel> gTypeRappel(const QString& champ)
{
    const std::optional<int> n = gValeurStricte(champ);
    if (n && *n >= 0 && *n <= 2) {
        return static_cast<TypeRappel>(*n);
    }
    return std::nullopt;
}

std::variant<RappelPrepare, RefusRappel> gPreparerRappel(const SaisieRappel& saisie)
{
    const QDateTime maintenant = gMaintenant();
    const QString heure = saisie.heure.toString(FormatHeure);
    QString date;
    QString jours;
    switch (static_cast<TypeRappel>(saisie.type)) {
    case TypeRappel::TousLesJours:
        date = (heure <= maintenant.toString(FormatHeure) ? maintenant.date().addDays(1) : maintenant.date())
                   .toString(FormatDate);
        break;
    case TypeRappel::ToutesLesSemaines: {
        QList<int> positions = saisie.jours;
        std::sort(positions.begin(), positions.end());
        positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
        if (positions.isEmpty()) {
            return RefusRappel {ChampRappel::Jours, "SelectionJourObligatoire"};
        }
        QStringList liste;
        for (int p : std::as_const(positions)) {
            liste.append(QString::number(p + 1));
        }
        jours = liste.join(QLatin1Char(','));
        date = gProchaineDateHebdomadaire(heure, jours);
        break;
    }
    case TypeRappel::UneSeuleFois:
    default:
        date = saisie.date.toString(FormatDate);
        // The current minute itself is refused.
        if (date + heure <= maintenant.toString(QLatin1String(FormatInstantRappel))) {
            return RefusRappel {ChampRappel::Heure, "DateHeureRappelInvalide"};
        }
        break;
    }
    if (saisie.message.isEmpty()) {
        return RefusRappel {ChampRappel::Message, "MessageObligatoire"};
    }
    // Edits give bare line feeds; the record keeps one "¶" per line break.
    const QString message = gEnCRLF(saisie.message);

    RappelPrepare r;
    r.cle = saisie.cle.isEmpty() ? maintenant.toString(QStringLiteral("yyyyMMddHHmmss")) : saisie.cle;
    r.valeur
        = QString::number(saisie.type) + Separateur + date + Separateur + heure + Separateur + gEncoderTexte(message);
    if (!jours.isEmpty()) {
        r.valeur += Separateur + jours;
    }
    return r;
}

QString gProchaineDateHebdomadaire(const QString& heure, const QString& jours)
{
    const QDateTime maintenant = gMaintenant();
    const QDate aujourdhui = maintenant.date();
    const int w = jourSemaine(aujourdhui);
    const QStringList liste = jours.split(QLatin1Char(','));
    for (const QString& j : liste) {
        const int d = gValeurNombreInitial(j);
        if (d > w) {
            return aujourdhui.addDays(d - w).toString(FormatDate);
        }
        if (d == w && heure > maintenant.toString(FormatHeure)) {
            return aujourdhui.toString(FormatDate);
        }
    }
    return aujourdhui.addDays(7 - w + gValeurNombreInitial(liste.first())).toString(FormatDate);
}

QString gInstantPrevu(const QStringList& champs)
{
    return champs.size() >= 3 ? champs[1] + champs[2] : QString();
}

bool gRappelDu(const QStringList& champs, const QString& maintenant)
{
    // A record without its date and time is left alone.
    const QString prevu = gInstantPrevu(champs);
    return !prevu.isEmpty() && prevu <= maintenant;
}

QString gMomentRappel(const QString& instantPrevu)
{
    return masquer(instantPrevu, QStringLiteral("@@@@/@@/@@ @@:@@"));
}

QStringList gReceduler(QStringList champs, int duree, int temps)
{
    const std::optional<TypeRappel> type = gTypeRappel(champs.value(0));
    if (!type || champs.size() < 3) {
        return champs;
    }
    const QDateTime maintenant = gMaintenant();
    switch (*type) {
    case TypeRappel::UneSeuleFois: {
        const QDateTime prochain = maintenant.addSecs(qint64(duree) * (temps == 0 ? 60 : 3600));
        champs[1] = prochain.toString(FormatDate);
        champs[2] = prochain.toString(FormatHeure);
        break;
    }
    case TypeRappel::TousLesJours: {
        // Fired late, on an earlier day, with its time still ahead today: today; otherwise tomorrow.
        const QString aujourdhui = maintenant.toString(FormatDate);
        champs[1] = champs[1] != aujourdhui && champs[2] > maintenant.toString(FormatHeure)
                        ? aujourdhui
                        : maintenant.date().addDays(1).toString(FormatDate);
        break;
    }
    case TypeRappel::ToutesLesSemaines:
        champs[1] = gProchaineDateHebdomadaire(champs[2], champs.value(4));
        break;
    }
    return champs;
}

void gEcrireRappel(const QString& cle, const QString& valeur)
{
    IniFile(gFichierParametres()).writeString(QLatin1String(SectionRappel), cle, valeur);
}

void gSupprimerRappel(const QString& cle)
{
    IniFile(gFichierParametres()).writeString(QLatin1String(SectionRappel), cle, std::nullopt);
}

QList<LigneRappel> gLireRappels(const QString& fichierLangue)
{
    const QString a = gMessageTexte(fichierLangue, QStringLiteral("PlanificationA"));
    const QString le = gMessageTexte(fichierLangue, QStringLiteral("PlanificationLe"));
    const QString aujourdhuiTexte = gMessageTexte(fichierLangue, QStringLiteral("PlanificationAujourdhui"));
    QStringList libelles;
    for (const char* cle : ClesPlanification) {
        libelles.append(gMessageTexte(fichierLangue, QLatin1String(cle)));
    }
    const QString aujourdhui = gMaintenant().toString(FormatDate);
    const QLatin1Char blanc(' ');

    QList<LigneRappel> lignes;
    for (const QString& ligne : IniFile(gFichierParametres()).readSection(QLatin1String(SectionRappel))) {
        const QString cle = iniLineKey(ligne);
        if (cle.isEmpty()) {
            continue;
        }
        const QStringList champs = ligne.mid(ligne.indexOf(QLatin1Char('=')) + 1).split(Separateur);
        LigneRappel l;
        l.cle = cle;
        l.type = champs.value(0);
        l.date = masquer(champs.value(1).left(8), QStringLiteral("@@@@-@@-@@"));
        l.heure = masquer(champs.value(2).right(4), QStringLiteral("@@:@@"));
        l.message = champs.value(3);
        l.jours = champs.value(4);
        const std::optional<TypeRappel> type = gTypeRappel(l.type);
        QString planification = (type ? libelles[int(*type)] : l.type) + blanc + a + blanc + l.heure;
        if (type == TypeRappel::UneSeuleFois) {
            planification += blanc + le + blanc + l.date;
        }
        const QString prochain
            = (champs.value(1).left(8) == aujourdhui ? aujourdhuiTexte : l.date) + blanc + a + blanc + l.heure;
        l.colonnes = QStringList {planification, prochain, l.message};
        lignes.append(l);
    }
    return lignes;
}

QString gDureeRepetitionSaisie(const QString& texte)
{
    return texte.isEmpty() || gValeurNombreInitial(texte) == 0 ? QStringLiteral("1") : texte;
}

QString gDureeRepetitionFleche(const QString& texte, int pas)
{
    const int valeur = gValeurNombreInitial(texte);
    if (pas < 0) {
        return QString::number(valeur <= 1 ? 1 : valeur - 1);
    }
    // At 99 or above (typed by hand) the up arrow leaves the number alone.
    return valeur >= 99 ? texte : QString::number(valeur + 1);
}

} // namespace pv
