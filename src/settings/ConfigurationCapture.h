#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace pv {

class PopupSpool;

// The header template of a pop-up text: its first line (up to the first CR LF) split at single blanks, words 2, 4
// and 6 (from 0) replaced by "#EXPEDITEUR#", "#DESTINATAIRE#" and "#DATE#", cut after the last "#" (the time of
// day goes). "Message from PC1 to PC2 on 15/11/2026 10:12:00" gives "Message from #EXPEDITEUR# to #DESTINATAIRE#
// on #DATE#". nullopt when the text has no line break or its first line fewer than seven words.
std::optional<QString> gModeleEntete(const QString& texte);

// What the test send came to: the ping found nobody, or the transport's result code (0 delivered).
inline constexpr int PingSansReponse = -1;

// The send step: pings the station, then sends it the product name from this machine, as the message service
// would. Blocks; run it off the window thread.
int gEnvoyerMessageTest(const QString& station, int delaiPingMs);

// The message (a key of the language file and its fields) that tells why the test send to `station` failed.
struct MessageEchec
{
    QString cle;
    QStringList champs;
};
MessageEchec gMessageEchecEnvoiTest(int code, const QString& station);

// mObtenirInfoFenetreMessenger: takes the newest pop-up of the spool and learns its title and header template;
// saves both ("TitreFenetreMessenger", "EnteteFenetreMessenger"), makes them current and removes the pop-up.
// False when there is no pop-up or its header does not fit: nothing is saved and the pop-up stays. Throws
// pv::Error when the settings cannot be written.
bool gApprendreFenetreMessenger(const PopupSpool& spool);

} // namespace pv
