#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTime>

#include <optional>
#include <variant>

namespace pv {

// Settings-store section "Rappel": key the creation instant "yyyymmddhhmmss", value kind|date|time|message[|days],
// date "yyyymmdd", time "hhmm", the message with "¶" for line breaks, days "1,3,5" (Monday 1 … Sunday 7).
enum class TypeRappel { UneSeuleFois = 0, TousLesJours = 1, ToutesLesSemaines = 2 };

// Message keys of the kinds and of the days, in the order of their lists.
inline constexpr const char* ClesPlanification[]
    = {"PlanificationUneSeuleFois", "PlanificationTousLesJours", "PlanificationToutesLesSemaines"};
inline constexpr const char* ClesJour[]
    = {"JourLundi", "JourMardi", "JourMercredi", "JourJeudi", "JourVendredi", "JourSamedi", "JourDimanche"};

// Field 0 read as a number; nullopt for anything but the three kinds.
std::optional<TypeRappel> gTypeRappel(const QString& champ);

// What the editor holds when OK is pressed.
struct SaisieRappel
{
    int type = 0;     // index of the planning choice
    QDate date;       // the date picker; a once-reminder's day
    QTime heure;      // the time picker; seconds are not kept
    QList<int> jours; // selected positions of the day list, 0 for Monday, top to bottom
    QString message;  // as typed
    QString cle;      // the key of the reminder being modified; empty when adding
};

// The control a refused record sends the user back to, and the message to show.
enum class ChampRappel { Heure, Jours, Message };
struct RefusRappel
{
    ChampRappel champ;
    const char* cleMessage;
};

struct RappelPrepare
{
    QString cle;
    QString valeur;
};

// The record to write for the editor's input: time, then by kind (the date of a once-reminder must lie at least
// in the next minute; a weekly one needs a day), then the message. The first failing check is returned.
std::variant<RappelPrepare, RefusRappel> gPreparerRappel(const SaisieRappel& saisie);

// "yyyymmdd" of the next occurrence of a weekly reminder at heure ("hhmm") on jours ("1,3,5"): today when one of
// the days is today and the time is still ahead, else the next listed day, else the first listed day of next week.
QString gProchaineDateHebdomadaire(const QString& heure, const QString& jours);

// The planned instant of a record split on "|", fields 1 and 2 as "yyyymmddhhmm"; empty without both fields.
QString gInstantPrevu(const QStringList& champs);
// Due when the planned instant is not later than `maintenant` ("yyyyMMddHHmm"), compared as text.
bool gRappelDu(const QStringList& champs, const QString& maintenant);
inline constexpr auto FormatInstantRappel = "yyyyMMddHHmm";
// "yyyy/mm/dd hh:mm" of a planned instant.
QString gMomentRappel(const QString& instantPrevu);

// A fired record moved on, for the key it keeps: a once-reminder to now plus duree minutes (temps 0) or hours
// (any other temps), a daily one to its time today when that is still ahead on a later day than planned, else
// tomorrow, a weekly one to its next weekly date. Other kinds come back as they are.
QStringList gReceduler(QStringList champs, int duree, int temps);

// Writes or removes a value of section "Rappel". Throws pv::Error when the store cannot be written.
void gEcrireRappel(const QString& cle, const QString& valeur);
void gSupprimerRappel(const QString& cle);

// One row of the reminder list, from one stored value.
struct LigneRappel
{
    QString cle;
    QString type;    // field 0 as stored
    QString date;    // "yyyy-mm-dd"
    QString heure;   // "hh:mm"
    QString message; // as stored, "¶" for line breaks
    QString jours;
    QStringList colonnes; // schedule, next reminder, message
};
// The rows in the store's order; the column texts in the language of `fichierLangue`.
QList<LigneRappel> gLireRappels(const QString& fichierLangue);

// The duration box of a fired reminder's window: what the text becomes after an edit (empty or zero gives "1"),
// and after an arrow (pas +1 or -1), which stops at 1 and 99 but leaves a larger typed number to move.
QString gDureeRepetitionSaisie(const QString& texte);
QString gDureeRepetitionFleche(const QString& texte, int pas);

} // namespace pv
