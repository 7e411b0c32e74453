#include "settings/ConfigurationCapture.h"
#include "common/MessengerText.h"

#include "common/Error.h"
#include "common/IniFile.h"
#include "common/NetworkProbes.h"
#include "common/Paths.h"
#include "engine/Settings.h"
#include "messenger/Spool.h"
#include "messenger/Transport.h"

namespace pv {

std::optional<QString> gModeleEntete(const QString& texte)
{
    const qsizetype saut = texte.indexOf(QLatin1String("\r\n"));
    if (saut < 0) {
        return std::nullopt;
    }
    // Fixed word positions: two words, the sender, a word, the recipient, a word, the date, then anything.
    QStringList mots = texte.left(saut).split(QLatin1Char(' '));
    if (mots.size() < 7) {
        return std::nullopt;
    }
    mots[2] = QStringLiteral("#EXPEDITEUR#");
    mots[4] = QStringLiteral("#DESTINATAIRE#");
    mots[6] = QStringLiteral("#DATE#");
    const QString modele = mots.join(QLatin1Char(' '));
    return modele.left(modele.lastIndexOf(QLatin1Char('#')) + 1);
}

int gEnvoyerMessageTest(const QString& station, int delaiPingMs)
{
    if (!gPingStation(station, nullptr, delaiPingMs)) {
        return PingSansReponse;
    }
    // No sender name: the service calls it the local station.
    return netMessageBufferSend(SendOptions {}, stdText(station), {}, TitreApplication).code();
}

MessageEchec gMessageEchecEnvoiTest(int code, const QString& station)
{
    switch (code) {
    case 87:
        return {QStringLiteral("The specified parameter is invalid."), {}};
    case 5:
        return {QStringLiteral("The user does not have access to the requested information."), {}};
    case 50:
        return {QStringLiteral("This network request is not supported."), {}};
    case 2136:
        return {QStringLiteral("A general failure occurred in the network hardware."), {}};
    case PingSansReponse:
    case 2273:
        return {QStringLiteral("StationInexistante"), {station}};
    default:
        // Not left unsaid: the operator would wait for a pop-up that never comes.
        return {QStringLiteral("EnvoiTestImpossible"),
                {station,
                 QLatin1String(netMessageResultText(code)) + QStringLiteral(" (") + QString::number(code)
                     + QLatin1Char(')')}};
    }
}

bool gApprendreFenetreMessenger(const PopupSpool& spool)
{
    const std::optional<Popup> popup = spool.newest();
    if (!popup) {
        return false;
    }
    const std::optional<QString> modele = gModeleEntete(qtext(popup->text));
    if (!modele) {
        return false;
    }
    IniFile(gFichierParametres()).update([&](IniDocument& doc) {
        doc.setValue(QLatin1String(SectionGeneral), QStringLiteral("TitreFenetreMessenger"), qtext(popup->title));
        doc.setValue(QLatin1String(SectionGeneral), QStringLiteral("EnteteFenetreMessenger"), *modele);
    });
    Parametres& p = gParametres();
    p.titreFenetreMessenger = qtext(popup->title);
    p.enteteFenetreMessenger = *modele;
    // Learnt: the test message is not one to keep.
    (void)spool.remove(*popup);
    return true;
}

} // namespace pv
