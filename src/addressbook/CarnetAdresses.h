#pragma once

#include "common/DataFile.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace pv {

// The field of an editor that a failed check sends the focus back to.
enum class Champ { NomStation, Description, NomGroupe, Membres, Message };

// A failed check: the language-file message to show, its fields, and the faulty field.
struct Refus
{
    const char* cleMessage;
    Champ champ;
    QStringList champs = {};
};

// Characters that the separators of the data file and of station lists reserve: a station cannot hold them, a
// description cannot hold "|", a group name cannot hold "=", "[" or "]".
inline constexpr auto InterditsStation = "=[]|,";
inline constexpr auto InterditsDescription = "|";
inline constexpr auto InterditsGroupe = "=[]";
// The first character of `texte` that `interdits` lists; a null character when there is none.
QChar gCaractereInterdit(const QString& texte, const char* interdits);
// As above for a name that becomes a key of the data file: also a character that would keep the key from reading
// back, such as a "#" or ";" in front.
QChar gCaractereInterditCle(const QString& nom, const char* interdits);

// ---- Users ----

struct SaisieUtilisateur
{
    QString station;
    QString description;
    bool ignorer = false;
};

// The editor's checks, in order: station given, description given, no reserved character, station not another
// user's, description not another user's (both compared ignoring case). `stationChargee` and `descriptionChargee` are
// what Modify loaded (empty after Add): a user saved unchanged is not its own duplicate.
std::optional<Refus> gVerifierUtilisateur(const SaisieUtilisateur& saisie,
                                          const QString& stationChargee,
                                          const QString& descriptionChargee,
                                          const QList<Utilisateur>& utilisateurs);
// Writes the user; a rename removes the old key in the same write. Throws pv::Error when the file cannot be
// written.
void gEnregistrerUtilisateur(const SaisieUtilisateur& saisie, const QString& stationChargee);
// A station added by its name alone: described by its own name, not ignored.
void gEnregistrerStation(const QString& station);
// Adds the stations that are not users yet, in one write; returns how many were added.
int gAjouterStations(const QStringList& stations);
void gSupprimerUtilisateur(const QString& station);

// The import file: one station per line, optionally a tab and the description, optionally a tab and the flag.
struct ResultatImport
{
    QStringList stations;   // every station read, new or already known, in file order
    int lignesIgnorees = 0; // lines with no usable station name
    int ajoutes = 0;
};
// Parses an import file's text against the present users: the values to write (station, value) and the result.
struct LigneImport
{
    QString station;
    QString valeur;
};
ResultatImport
gAnalyserImport(const QString& texte, const QList<Utilisateur>& utilisateurs, QList<LigneImport>* aEcrire);
// Reads and imports a file; nothing is written when it cannot be read. Throws pv::Error with a readable text.
ResultatImport gImporterUtilisateurs(const QString& chemin);

// ---- Groups ----

// The members as the groups list shows them: each member's description, with " (station)" when `avecStation`,
// joined by "; ". A member that is no longer a user shows an empty description.
QString gAfficherMembres(const QString& membres, const QList<Utilisateur>& utilisateurs, bool avecStation);
// Checks in order: a name, at least one member, no reserved character, and for a new group (`nomCharge` empty) a name
// not taken.
std::optional<Refus>
gVerifierGroupe(const QString& nom, const QStringList& membres, const QString& nomCharge, const QList<Groupe>& groupes);
// Writes the group; a rename removes the old key in the same write.
void gEnregistrerGroupe(const QString& nom, const QStringList& membres, const QString& nomCharge);
void gSupprimerGroupe(const QString& nom);
// `membres` with the stations of `ajout` that are not members yet (whole-text match), in order.
QStringList gAjouterMembres(const QStringList& membres, const QStringList& ajout);

// ---- Predefined messages ----

// "yyyymmddhhmmss" of a moment.
QString gCleMessagePredefini(const QDateTime& moment);
// Writes a text (line breaks as "\n" or "\r\n") under `cleChargee`, or under a new key from `moment` when empty;
// returns the key.
QString gEnregistrerMessagePredefini(const QString& cleChargee, const QString& texte, const QDateTime& moment);
void gSupprimerMessagePredefini(const QString& cle);

// The placeholders of the editor's special-character menu, by menu position; separators are empty.
const QStringList& gCaracteresSpeciaux();

} // namespace pv
