#pragma once

#include "common/DataFile.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace pv {

// What a message window shows; the value is the one callers and the position keys are chosen by.
enum class TypeFenetre { NouveauMessage = 0, HistoriqueRecu = 1, HistoriqueEnvoye = 2, Rappel = 3 };

// The history a window type reads: the sent one for type 2, the received one otherwise.
bool gHistoriqueEnvoye(TypeFenetre type);
// "General" key keeping the window's place for that type.
QString gClePositionFenetreMessage(TypeFenetre type);

// The entries of the type's history in file order, texts readable (unscrambled) with real line breaks. With a
// first key, entries whose key sorts before it are left out; an equal key is kept.
QList<EntreeHistorique> gObtenirHistoriqueMessage(TypeFenetre type, const QString& cleDebut = {});

// The first 14 characters of a key as "yyyy-MM-dd hh:mm:ss"; a shorter key is right-aligned in the mask.
QString gFormaterDateHeureCle(const QString& cle);
// The user's description, then " (station)" when stations are to be shown with names.
QString gNomAffiche(const QString& station);
// One chooser line: date and time, " - ", the displayed name.
QString gLigneChoix(const EntreeHistorique& entree);
// The chooser's lines, newest (last entry) first.
QStringList gLignesChoix(const QList<EntreeHistorique>& entrees);
// The entry shown by a chooser line: lines run newest first. -1 when the line is out of range.
int gIndexEntree(int nbLignes, int ligne);

// A hit of the text search: the entry and the 1-based position in its shown text (line feeds only).
struct PositionRecherche
{
    int index = 0;
    int position = 1;
};
// The next case-insensitive hit of texte from entry index at position on, then in older entries from position 1;
// nothing once the oldest entry is passed.
std::optional<PositionRecherche>
gRechercherTexte(const QList<EntreeHistorique>& entrees, const QString& texte, int index, int position);

} // namespace pv
