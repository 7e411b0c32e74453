#pragma once

#include <QString>
#include <QStringList>

namespace pv {

// Line breaks: the store, the wire and the histories hold CR LF; the text boxes hold LF.
QString gEnLF(QString texte);   // CR LF -> LF; a lone CR stays
QString gEnCRLF(QString texte); // LF or CR LF -> CR LF

// What a station box keeps of a typed or pasted text: no blank, letters upper case.
QString gFiltrerNomStation(const QString& saisie);

// The stations of a recipient typed by hand ("pc1, pc2"): upper case, trimmed, empty pieces dropped.
QStringList gStationsTapees(const QString& texte);

} // namespace pv
