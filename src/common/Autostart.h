#pragma once

#include <QString>

namespace pv {

// Starting with the desktop session: an XDG autostart entry, on when present and not empty.
QString gCheminAutostart();
bool gAutostartActif();
// Both throw pv::Error with a readable text when the entry cannot be written or removed.
void gActiverAutostart(const QString& programme);
void gDesactiverAutostart();

// Quotes a program path for the Exec key of a desktop entry.
QString gQuoterCommandeDesktop(const QString& programme);

} // namespace pv
