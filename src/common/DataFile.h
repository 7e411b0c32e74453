#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

namespace pv {

class IniDocument;

// Sections of the data file.
inline constexpr auto SectionUtilisateur = "User";
inline constexpr auto SectionGroupe = "Group";
inline constexpr auto SectionMessagePredefini = "PredefinedMessage";
inline constexpr auto SectionMessageRecu = "IncomingMessage";
inline constexpr auto SectionMessageEnvoye = "OutgoingMessage";

struct Utilisateur
{
    QString station;
    QString description;
    bool ignorer = false;
};

struct Groupe
{
    QString nom;
    QString membres; // the stored comma list
};

struct MessagePredefini
{
    QString cle;
    QString texte; // still "¶"-encoded
};

struct EntreeHistorique
{
    QString cle; // 17-digit local time stamp
    QString station;
    QString texte; // decoded: real line breaks, still scrambled when it went out scrambled
};

// The data file's path, set once at start-up; every reader and writer uses it.
QString gFichierDonnees();
void gDefinirFichierDonnees(const QString& path);

// The in-memory tables, filled by the loaders and reloaded in whole after each edit.
const QList<Utilisateur>& gUtilisateurs();
const QList<Groupe>& gGroupes();
const QList<MessagePredefini>& gMessagesPredefinis();

void gChargerUtilisateurGroupe();
void gChargerMessagePredefini();

// Unknown stations come back as themselves (description = name), with found false.
Utilisateur gRechercherUtilisateur(const QString& nom, bool parDescription, bool* trouve = nullptr);
// Unknown groups come back with no members.
Groupe gRechercherGroupe(const QString& nom);
// "PC12 (Accueil)" -> "PC12".
QString gObtenirStation(const QString& texteAffiche);

// Record encodings.
QString gEncoderTexte(const QString& texte);             // CR LF -> "¶"
QString gDecoderTexte(const QString& texte);             // "¶" -> CR LF
QString gEncoderDescription(const QString& description); // "(" ")" -> "[" "]"
QString gValeurUtilisateur(const QString& description, bool ignorer);
// Year in plain digits, then month..second as two digits, then milliseconds as three.
QString gCleHistorique(const QDateTime& moment);

// Removes the oldest entries of a history so that one more fits under the maximum; returns how many went.
// Failures are reported and leave the entries not removed in place.
int gVerifierNbMessageHistorique(bool envoye, int maximum);
// Trims as above and appends "station|text" in the same atomic write. Throws pv::Error when the file cannot be
// written.
int gEnregistrerHistorique(bool envoye,
                           const QString& station,
                           const QString& texte,
                           int maximum,
                           const QDateTime& moment = QDateTime::currentDateTime());
// The entries of a history in file order (oldest first).
QList<EntreeHistorique> gLireHistorique(bool envoye);
void gSupprimerHistorique(bool envoye);
// Removes one entry by its key. Throws pv::Error when the file cannot be written.
void gSupprimerEntreeHistorique(bool envoye, const QString& cle);

// The trimming rule on a parsed file, shared by the writers: the oldest entries go so that `aAjouter` more fit.
int gElaguerHistorique(IniDocument& doc, bool envoye, int maximum, int aAjouter = 1);

// An entry about to be written: when it came, and "station|stored text".
struct NouvelleEntreeHistorique
{
    QDateTime moment;
    QString valeur;
};
// Appends entries to a history in one pass, in order, each under the key of its time moved on by a millisecond
// while that key is taken (two entries of one millisecond must not replace each other), then trims the history to
// its maximum: the oldest go first, new ones too when they alone pass it. Returns the keys given, in order.
QStringList
gAjouterHistorique(IniDocument& doc, bool envoye, const QList<NouvelleEntreeHistorique>& entrees, int maximum);

} // namespace pv
