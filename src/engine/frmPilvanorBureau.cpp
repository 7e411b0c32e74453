// The main window's ties to the desktop: requests of later starts, the hot key where no key can be grabbed,
// and the desktop's notifications where there is no tray.
#include "common/DataFile.h"
#include "common/Language.h"
#include "engine/GlobalHotKey.h"
#include "engine/LigneCommande.h"
#include "engine/Notification.h"
#include "engine/NotificationBureau.h"
#include "engine/RaccourciPortail.h"
#include "engine/Settings.h"
#include "engine/frmPilvanor.h"

#include <QComboBox>
#include <QGuiApplication>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QWindow>

namespace pv {

void frmPilvanor::relierBureau()
{
    zoneNotificationDisponible = [] { return QSystemTrayIcon::isSystemTrayAvailable(); };
    m_portail = new RaccourciPortail(QDBusConnection::sessionBus(), this);
    connect(m_portail, &RaccourciPortail::activated, this, &frmPilvanor::restaurer);
    utiliserNotificationBureau(new NotificationBureau(QDBusConnection::sessionBus(), this));
}

void frmPilvanor::reduireUneFoisAffichee()
{
    if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        showMinimized();
        return;
    }
    // A Wayland compositor ignores a minimise asked before the window's first frame.
    show();
    auto* attente = new QTimer(this);
    attente->setInterval(20);
    connect(attente, &QTimer::timeout, this, [this, attente] {
        if (windowHandle() && windowHandle()->isExposed()) {
            attente->deleteLater();
            showMinimized();
        }
    });
    attente->start();
}

void frmPilvanor::utiliserNotificationBureau(NotificationBureau* notification)
{
    delete m_notificationBureau;
    m_notificationBureau = notification;
    notification->setParent(this);
    connect(notification, &NotificationBureau::actionInvoquee, this, &frmPilvanor::ouvrirNonLus);
    // Refused: what it told of shows in windows, as on a desktop without notifications.
    connect(notification, &NotificationBureau::echec, this, [this] { ouvrirNonLus({}); });
}

void frmPilvanor::enregistrerRaccourci(const std::optional<HotKey>& touches)
{
    const bool valide = touches && touches->virtualKey != 0;
    if (!gSessionWayland()) {
        if (valide) {
            m_hotKey->registerHotKey(*touches);
        } else {
            m_hotKey->unregisterHotKey();
        }
        return;
    }
    // Under Wayland an X11 grab only sees keys meant for this program's own windows: the desktop decides.
    m_hotKey->unregisterHotKey();
    if (valide) {
        m_portail->enregistrer(
            *touches, gMessageTexte(gParametres().fichierLangue, QStringLiteral("DescriptionRaccourciBureau")));
    } else {
        m_portail->liberer();
    }
}

void frmPilvanor::mTraiterDemande(const Demande& demande)
{
    if (!demande.jeton.isEmpty()) {
        // The token the desktop gave the later start lets this window come forward; Qt takes it from there.
        qputenv("XDG_ACTIVATION_TOKEN", demande.jeton);
    }
    restaurer();
    if (demande.action != Demande::Action::NouveauMessage) {
        return;
    }
    if (demande.station.isEmpty()) {
        cboDestinataire->setFocus();
        return;
    }
    choisirStation(demande.station);
    txtMessage->setFocus();
}

void frmPilvanor::choisirStation(const QString& station)
{
    optDestinataire[0]->setChecked(true);
    remplirDestinataires();
    for (int i = 0; i < cboDestinataire->count(); ++i) {
        if (gObtenirStation(cboDestinataire->itemText(i)).trimmed().toUpper() == station) {
            cboDestinataire->setCurrentIndex(i);
            return;
        }
    }
    // Not kept as a user: the message still goes to that station, never to whoever the list shows first.
    cboDestinataire->setEditText(station);
}

bool frmPilvanor::notifierBureau(const ContenuNotification& contenu)
{
    if (!m_notificationBureau->disponible()) {
        return false;
    }
    ContenuNotification c = contenu;
    c.texte.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    c.libelleAction = gMessageTexte(gParametres().fichierLangue, QStringLiteral("NotificationAfficher"));
    m_notificationBureau->afficher(c);
    return true;
}

void frmPilvanor::afficherRappel(const RappelDeclenche& rappel)
{
    if (gParametres().affichageMessage == AffichageMessage::InfoBulle && !zoneNotificationDisponible()
        && notifierBureau({QStringLiteral("Pilvanor Reminder"), rappel.texte.left(LongueurMaxTexteBulle), {}})) {
        m_rappelsNonLus.append(rappel);
        return;
    }
    ouvrirRappel(rappel);
}

void frmPilvanor::ouvrirNonLus(const QByteArray& jeton)
{
    if (!jeton.isEmpty()) {
        qputenv("XDG_ACTIVATION_TOKEN", jeton);
    }
    const QList<RappelDeclenche> rappels = std::exchange(m_rappelsNonLus, {});
    for (const RappelDeclenche& rappel : rappels) {
        ouvrirRappel(rappel);
    }
    // As a double click on the tray icon: the new messages, or the main window when there are none.
    if (m_nbNouveauxMessages > 0 || rappels.isEmpty()) {
        picSysTrayDoubleClic();
    }
}

} // namespace pv
