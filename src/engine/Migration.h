#pragma once

#include <QDateTime>

namespace pv {

// Sections of the settings store that an earlier version used for the address book.
inline constexpr auto SectionAncienneStation = "Station";
inline constexpr auto SectionAncienneStationIgnoree = "StationIgnorerMessage";
inline constexpr auto SectionAncienGroupe = "Groupe";
inline constexpr auto SectionAncienMessagePredefini = "MessagePredefini";

// Moves the old sections of the settings store into the data file, then removes them from the store, so that it
// happens once; the tables are reloaded afterwards. Returns false, having changed nothing, when no old section is
// there. Throws pv::Error when a file cannot be written: the old sections then stay for the next start.
bool gTransfererRegistreFichier(const QDateTime& maintenant = QDateTime::currentDateTime());

} // namespace pv
