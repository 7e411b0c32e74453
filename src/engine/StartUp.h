#pragma once

#include <QString>
#include <QStringList>

namespace pv {

// What start-up could not do, for the user to read once. Each entry is a language-file key and its fields.
struct ProblemeDemarrage
{
    QString cle;
    QStringList champs;
};

// Histories of an earlier version beside the program ("Incoming.pv", "Outgoing.pv") are renamed in place with
// "24" appended, so that they are kept but no longer read. Failures are passed over.
void gMettreDeCoteAnciensHistoriques(const QString& dossierProgramme);

// Creates the data folder when the data file is missing and moves a data file found beside the program into it.
// Returns the path of the data file; problems are appended to the list.
QString gPreparerDossierDonnees(const QString& dossierProgramme, QList<ProblemeDemarrage>& problemes);
// The problems as one text for the status bar, each also written to the standard error; empty when there are none.
QString gTexteProblemes(const QString& fichierLangue, const QList<ProblemeDemarrage>& problemes);

} // namespace pv
