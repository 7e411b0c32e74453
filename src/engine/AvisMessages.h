#pragma once

#include "common/DataFile.h"
#include "engine/Capture.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>

class QMenu;
class QSystemTrayIcon;
class QWidget;

namespace pv {

class frmMessage;
class NotificationBureau;
struct ContenuNotification;

// How new messages and fired reminders reach the user: the sound, the tray icon with its count and balloons, the
// desktop's notifications where there is no tray, and the new-message windows ("AffichageMessage").
class AvisMessages : public QObject
{
    Q_OBJECT

public:
    // `menuSysTray` becomes the tray icon's menu.
    AvisMessages(QMenu* menuSysTray, QObject* parent);

    // Shows the tray icon, made when there is none yet.
    void ajouterPVSysTray();
    void mSupprimerPVSysTray();
    // The tool tip and icon of the tray icon for the current count.
    void mMettreAJourPVSysTray();
    // The tray icon while it is shown.
    QSystemTrayIcon* picSysTray() const { return m_picSysTray; }
    // Messages captured and not yet read.
    int nombreNouveauxMessages() const { return m_nbNouveauxMessages; }

    // One message just stored: counted, then shown the way the display mode says.
    void mNotifierMessage(const MessageCapture& message);
    // A backlog just stored: counted, and listed in one window whatever the display mode.
    void mNotifierLot(const QList<MessageCapture>& lot);
    void afficherRappel(const RappelDeclenche& rappel);
    // The new messages in front, or the main window when there are none.
    void picSysTrayDoubleClic();

    // The desktop's notifications, used in the balloon mode when there is no tray (this object takes it).
    void utiliserNotificationBureau(NotificationBureau* notification);
    // Whether a system tray is there now; asked at each message, as a tray may come or go.
    std::function<bool()> zoneNotificationDisponible;

Q_SIGNALS:
    // The main window is wanted in front.
    void restaurerDemande();
    // A message window opened that may reply through the main window.
    void fenetreOuverte(pv::frmMessage* fenetre);

private:
    frmMessage* ouvrirNouveauMessage(const MessageCapture& message, const QList<EntreeHistorique>& lot = {});
    void ouvrirRappel(const RappelDeclenche& rappel);
    bool notifierBureau(const ContenuNotification& contenu);
    void ouvrirNonLus(const QByteArray& jeton);
    void messagesLus();

    QMenu* m_menuSysTray;
    QSystemTrayIcon* m_picSysTray = nullptr;
    NotificationBureau* m_notificationBureau = nullptr;
    int m_nbNouveauxMessages = 0;
    // Kept as widgets: they are looked at while they are destroyed, when they are no longer frmMessage.
    QList<QPointer<QWidget>> m_fenetresNouveauxMessages;
    QPointer<frmMessage> m_fenetreUnique;   // display mode 1
    QPointer<frmMessage> m_fenetreLot;      // the other modes: the messages of a backlog
    QList<MessageCapture> m_bullesNonLues;  // display mode 2: shown only in balloons so far
    QList<RappelDeclenche> m_rappelsNonLus; // shown only in a desktop notification so far
};

} // namespace pv
