#pragma once

#include <QString>

namespace pv {

// Marks a scrambled text; compared exactly, case included, at the very start.
inline constexpr auto PrefixeCryptage = "[PVEncrypt]";

// Rotates the bytes "0" to "}" by 39 in Windows-1252 (the ANSI code page of the texts this program exchanges);
// everything else passes unchanged. A character that code page cannot hold becomes "?" before the rotation, so it
// goes out as "f" and reads back as "?". Applying it twice gives any Windows-1252 text back; the length is kept.
QString gCrypterMessage(const QString& texte);

// "[PVEncrypt]" followed by the scrambled text: what is sent and stored when scrambling is on.
QString gTexteCrypte(const QString& texte);
bool gEstCrypte(const QString& texte);
// The text a reader should see: unscrambled after the prefix, else as it stands.
QString gTexteLisible(const QString& texte);

} // namespace pv
