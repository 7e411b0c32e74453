#pragma once

#include <QFont>
#include <QString>

class QPrinter;

namespace pv {

// The font messages are printed in: "Courier New", 11 points (or the closest fixed-pitch font there is).
QFont gPoliceImpression();

// How many "_" make a rule on this printer in this font: the printable width less one inch.
int gLongueurRegle(QPrinter& imprimante, const QFont& police);

// Prints a plain text on the printer: lines wrapped at the printable width, pages as they fill. Any line break
// form (CR LF, LF, CR, paragraph separator) ends a line. False when the printer could not be opened.
bool gImprimerTexte(QPrinter& imprimante, const QString& texte, const QFont& police);

} // namespace pv
