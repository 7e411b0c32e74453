#include "engine/AvisMessages.h"

#include "common/Language.h"
#include "common/Son.h"
#include "common/TexteSaisi.h"
#include "engine/Notification.h"
#include "engine/NotificationBureau.h"
#include "engine/Settings.h"
#include "viewer/frmMessage.h"

#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>

namespace pv {

namespace {

const QString TitreRappel = QStringLiteral("Pilvanor Reminder");

void devant(QWidget* fenetre)
{
    fenetre->show();
    fenetre->raise();
    fenetre->activateWindow();
}

QString titreNouveauMessage(qsizetype nombre)
{
    return gTexteMessage(gCleTitreNouveauMessage(int(nombre)));
}

} // namespace

AvisMessages::AvisMessages(QMenu* menuSysTray, QObject* parent)
    : QObject(parent)
    , zoneNotificationDisponible([] { return QSystemTrayIcon::isSystemTrayAvailable(); })
    , m_menuSysTray(menuSysTray)
{
    utiliserNotificationBureau(new NotificationBureau(QDBusConnection::sessionBus(), this));
}

void AvisMessages::utiliserNotificationBureau(NotificationBureau* notification)
{
    delete m_notificationBureau;
    m_notificationBureau = notification;
    notification->setParent(this);
    connect(notification, &NotificationBureau::actionInvoquee, this, &AvisMessages::ouvrirNonLus);
    // Refused: what it told of shows in windows, as on a desktop without notifications.
    connect(notification, &NotificationBureau::echec, this, [this] { ouvrirNonLus({}); });
}

void AvisMessages::ajouterPVSysTray()
{
    if (!m_picSysTray) {
        m_picSysTray = new QSystemTrayIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")), this);
        m_picSysTray->setObjectName(QStringLiteral("picSysTray"));
        m_picSysTray->setContextMenu(m_menuSysTray);
        connect(m_picSysTray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason why) {
            if (why == QSystemTrayIcon::DoubleClick) {
                picSysTrayDoubleClic();
            } else if (why == QSystemTrayIcon::Trigger) {
                Q_EMIT restaurerDemande();
            }
        });
    }
    mMettreAJourPVSysTray();
    m_picSysTray->show();
}

void AvisMessages::mSupprimerPVSysTray()
{
    if (m_picSysTray) {
        m_picSysTray->hide();
        delete m_picSysTray;
        m_picSysTray = nullptr;
    }
}

void AvisMessages::mMettreAJourPVSysTray()
{
    if (!m_picSysTray) {
        return;
    }
    m_picSysTray->setToolTip(gTexteSysTray(gParametres().fichierLangue, m_nbNouveauxMessages));
    m_picSysTray->setIcon(QIcon(m_nbNouveauxMessages > 0 ? QStringLiteral(":/icons/nouveau-message.png")
                                                         : QStringLiteral(":/icons/pilvanor.png")));
}

frmMessage* AvisMessages::ouvrirNouveauMessage(const MessageCapture& message, const QList<EntreeHistorique>& lot)
{
    // A window of its own, as the group send window: it stays when the main window goes to the tray.
    auto* f = new frmMessage(TypeFenetre::NouveauMessage);
    f->mstrExpediteur = message.expediteur;
    f->mstrDateHeure = gFormaterDateHeureCle(message.cleHistorique);
    f->mstrMessage = message.texte;
    f->clePremierMessage = message.cleHistorique;
    f->nouveauxMessages = lot;
    // A backlog's senders are not checked: their addresses may have changed hands since they came.
    f->adresseExpediteur = lot.isEmpty() ? message.adresse : QString();
    f->mCharger();
    Q_EMIT fenetreOuverte(f);
    m_fenetresNouveauxMessages.append(f);
    // A widget says it is destroyed before its guards are cleared.
    connect(f, &QObject::destroyed, this, [this](QObject* fenetre) {
        m_fenetresNouveauxMessages.removeIf(
            [fenetre](const QPointer<QWidget>& p) { return !p || static_cast<QObject*>(p.data()) == fenetre; });
        if (m_fenetresNouveauxMessages.isEmpty()) {
            messagesLus();
        }
    });
    return f;
}

void AvisMessages::mNotifierMessage(const MessageCapture& message)
{
    // Once the message is stored, before it shows.
    gJouerFichierSon();
    const Parametres& p = gParametres();
    ++m_nbNouveauxMessages;
    mMettreAJourPVSysTray();
    const bool zone = zoneNotificationDisponible();
    const bool bulle = m_picSysTray && zone && QSystemTrayIcon::supportsMessages();
    const QString de = gLigneMessageDe(p.fichierLangue, message.description, message.expediteur);
    if (p.affichageMessage == AffichageMessage::InfoBulle && bulle) {
        m_bullesNonLues.append(message);
        m_picSysTray->showMessage(de.left(LongueurMaxTitreBulle), message.texte.left(LongueurMaxTexteBulle));
    } else if (p.affichageMessage == AffichageMessage::InfoBulle && !zone
               && notifierBureau({de, message.texte.left(LongueurMaxTexteBulle), {}})) {
        m_bullesNonLues.append(message);
    } else if (p.affichageMessage == AffichageMessage::UneSeuleFenetre) {
        if (!m_fenetreUnique) {
            m_fenetreUnique = ouvrirNouveauMessage(message);
        } else if (m_fenetreUnique->mObtenirHistoriqueMessage(m_fenetreUnique->clePremierMessage) > 0) {
            m_fenetreUnique->mChargerListeUtilisateurDateHeure();
        }
        m_fenetreUnique->setWindowTitle(titreNouveauMessage(qMax(qsizetype(1), m_fenetreUnique->historique().size())));
        devant(m_fenetreUnique);
    } else {
        // A window per message, also when there is no tray to show a balloon.
        frmMessage* f = ouvrirNouveauMessage(message);
        f->setWindowTitle(titreNouveauMessage(1));
        devant(f);
    }
}

void AvisMessages::mNotifierLot(const QList<MessageCapture>& lot)
{
    if (lot.isEmpty()) {
        return;
    }
    gJouerFichierSon();
    // However many waited, one window lists them in every display mode: a backlog must not open a window, nor a
    // balloon, per message.
    m_nbNouveauxMessages += int(lot.size());
    mMettreAJourPVSysTray();
    QList<EntreeHistorique> entrees;
    for (const MessageCapture& m : lot) {
        entrees.append({m.cleHistorique, m.expediteur, m.texte});
    }
    QPointer<frmMessage>& fenetre
        = gParametres().affichageMessage == AffichageMessage::UneSeuleFenetre ? m_fenetreUnique : m_fenetreLot;
    if (fenetre) {
        fenetre->mAjouterMessages(entrees);
    } else {
        fenetre = ouvrirNouveauMessage(lot.first(), entrees);
    }
    fenetre->setWindowTitle(titreNouveauMessage(fenetre->historique().size()));
    devant(fenetre);
}

void AvisMessages::afficherRappel(const RappelDeclenche& rappel)
{
    gJouerFichierSon();
    if (gParametres().affichageMessage == AffichageMessage::InfoBulle && !zoneNotificationDisponible()
        && notifierBureau({TitreRappel, rappel.texte.left(LongueurMaxTexteBulle), {}})) {
        m_rappelsNonLus.append(rappel);
        return;
    }
    ouvrirRappel(rappel);
}

void AvisMessages::ouvrirRappel(const RappelDeclenche& rappel)
{
    auto* f = new frmMessage(TypeFenetre::Rappel);
    f->mstrExpediteur = TitreRappel;
    f->mstrDateHeure = rappel.moment;
    f->mstrMessage = rappel.texte;
    f->mstrCleRappel = rappel.cle;
    f->mvarRappel = rappel.champs;
    f->mCharger();
    f->setWindowTitle(TitreRappel);
    devant(f);
}

bool AvisMessages::notifierBureau(const ContenuNotification& contenu)
{
    if (!m_notificationBureau->disponible()) {
        return false;
    }
    ContenuNotification c = contenu;
    c.texte = gEnLF(c.texte);
    c.libelleAction = gTexteMessage(QStringLiteral("NotificationAfficher"));
    m_notificationBureau->afficher(c);
    return true;
}

void AvisMessages::ouvrirNonLus(const QByteArray& jeton)
{
    if (!jeton.isEmpty()) {
        // The token the desktop gave lets the windows come forward; Qt takes it from there.
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

void AvisMessages::picSysTrayDoubleClic()
{
    if (m_nbNouveauxMessages == 0) {
        Q_EMIT restaurerDemande();
        return;
    }
    const QList<MessageCapture> bulles = std::exchange(m_bullesNonLues, {});
    for (const MessageCapture& m : bulles) {
        ouvrirNouveauMessage(m)->setWindowTitle(titreNouveauMessage(1));
    }
    for (const QPointer<QWidget>& f : std::as_const(m_fenetresNouveauxMessages)) {
        if (f) {
            devant(f);
        }
    }
    messagesLus();
}

void AvisMessages::messagesLus()
{
    m_nbNouveauxMessages = 0;
    m_bullesNonLues.clear();
    mMettreAJourPVSysTray();
    if (m_rappelsNonLus.isEmpty()) {
        m_notificationBureau->fermer();
    }
}

} // namespace pv
