#pragma once

#include <QString>

namespace pv {

// The tray record's fixed fields keep room for the ending NUL.
inline constexpr qsizetype LongueurMaxInfoBulle = 127;
inline constexpr qsizetype LongueurMaxTitreBulle = 63;
inline constexpr qsizetype LongueurMaxTexteBulle = 255;

// The tray icon's tool tip for that many new messages, cut to its field.
QString gTexteSysTray(const QString& fichierLangue, int nombre);
// The caption key of the new-message window for that many new messages.
QString gCleTitreNouveauMessage(int nombre);
// "Message from" line of a received message: the sender's description, then the sender in parentheses.
QString gLigneMessageDe(const QString& fichierLangue, const QString& description, const QString& expediteur);

} // namespace pv
