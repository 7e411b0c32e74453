#pragma once

#include "common/DataFile.h"
#include "engine/Capture.h"
#include "engine/HotKey.h"

#include <QMainWindow>
#include <QPointer>

#include <array>
#include <functional>
#include <memory>
#include <optional>

class QAction;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QRadioButton;
class QStatusBar;
class QSystemTrayIcon;
class QTimer;
class QToolBar;

namespace pv {

class EnvoiMessage;
class frmMessage;
class GlobalHotKey;
class NotificationBureau;
class RaccourciPortail;
struct ContenuNotification;
struct Demande;
class frmEnvoiMessageGroupe;
class frmPreference;
class frmGroupe;
class frmMessagePredefini;
class frmUtilisateur;
struct ResultatStation;

// The main window: the program's first and last window. Controls carry their design names, and each
// objectName is that name so that the language files reach it.
class frmPilvanor : public QMainWindow
{
    Q_OBJECT

public:
    explicit frmPilvanor(QWidget* parent = nullptr);
    ~frmPilvanor() override;

    // The start-up sequence: settings, data folder, lists, labels, position, tray icon, then shown.
    void charger();
    // Brings the window back from the tray or from minimised and puts it in front.
    void restaurer();
    // What a start asked for: the window in front, or ready to type a message (to a station when given).
    void mTraiterDemande(const pv::Demande& demande);
    // The desktop's notifications, used in the balloon mode when there is no tray (the window takes it).
    void utiliserNotificationBureau(NotificationBureau* notification);
    // Whether a system tray is there now; asked at each message, as a tray may come or go.
    std::function<bool()> zoneNotificationDisponible;
    // Ends the program the way the Quit menus do.
    void quitter();
    // Starts sending txtMessage to the recipient; false when the Send rule does not allow it now. The outcome
    // arrives later, on the status bar, in a message box or in the group send window.
    bool mEnvoyerMessage();
    // The send engine to use from now on (the window takes it); without one the real network is used.
    void utiliserEnvoi(EnvoiMessage* envoi);
    // The group send window while it is open.
    frmEnvoiMessageGroupe* fenetreEnvoiGroupe() const;
    // One tick of tmrCaptureMessage: the due reminders, then at most one received message, shown.
    void mCapturerMessage();
    // Prepares a reply to (or a resend for) a station: an unknown station is added to the users first; with the
    // prefix flag a non-empty text is quoted below two empty lines.
    void
    mRepondre(const QString& pstrStation, const QString& pstrMessageReponse, bool pblnAjouterCaractereDevantReponse);
    // Messages captured and not yet read.
    int nombreNouveauxMessages() const { return m_nbNouveauxMessages; }

    // Reads the settings again and applies them at once: captions of the open windows, hot key, message font,
    // tray icon, capture interval. Done after the preferences are saved.
    void appliquerParametres();

    // Toolbar buttons by their key ("Utilisateurs", "EnvoyerMessage" …).
    QAction* boutonBarreOutils(const QString& cle) const;
    bool hotKeyRegistered() const;

    QGroupBox* fraDestinataire;
    std::array<QRadioButton*, 2> optDestinataire;
    QComboBox* cboDestinataire;
    QLabel* lblMessagePredefini;
    QComboBox* cboMessagePredefini;
    QCheckBox* chkAjouterMessagePredefini;
    QCheckBox* chkEncrypterMessage;
    QLabel* lblMessage;
    QPlainTextEdit* txtMessage;
    QToolBar* tlbPrincipale;
    QToolBar* tlbMessage;
    QStatusBar* staBarreStatut;
    QLabel* lblGroupeRapide; // the typed stations when they are several
    QTimer* tmrCaptureMessage;
    QSystemTrayIcon* picSysTray = nullptr;

    QMenu* mnuFichier;
    QAction* mnuFicUtilisateur;
    QAction* mnuFicGroupe;
    QAction* mnuFicListeRappel;
    QAction* mnuFicPreference;
    QAction* mnuFicQuitter;
    QMenu* mnuMessage;
    QAction* mnuMesEnvoyer;
    QAction* mnuMesEffacer;
    QAction* mnuMesInsererSignature;
    QAction* mnuMesMessagePredefini;
    QMenu* mnuMesHistoriqueMessage;
    QAction* mnuHisHistoriqueMessageRecu;
    QAction* mnuHisSupprimerHistoriqueMessageRecu;
    QAction* mnuHisHistoriqueMessageEnvoye;
    QAction* mnuHisSupprimerHistoriqueMessageEnvoye;
    QMenu* mnuAide;
    QAction* mnuAidPilvanor;
    QAction* mnuAidAProposDe;
    QMenu* mnuSysTray;
    QAction* mnuSysRestaurer;
    QAction* mnuSysHistoriqueMessageRecu;
    QAction* mnuSysHistoriqueMessageEnvoye;
    QAction* mnuSysListeRappel;
    QAction* mnuSysPreference;
    QAction* mnuSysAProposDe;
    QAction* mnuSysAidePilvanor;
    QAction* mnuSysQuitter;

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* objet, QEvent* event) override;

private:
    void construireMenus();
    void construireBarresOutils();
    void construireControles();
    void remplirDestinataires();
    // Re-reads the recipient and predefined-message lists from the tables after an editor changed them.
    void actualiserListes();
    template<typename Editeur>
    void ouvrirEditeur(QPointer<Editeur>& fenetre);
    void completerDestinataire();
    void destinataireModifie();
    void mettreAJourEnvoyer();
    EnvoiMessage* envoi();
    void debutGroupe(const QString& ligne);
    void stationTerminee(const ResultatStation& resultat);
    void finGroupe(const QString& ligne);
    void envoiTermine(bool succes);
    void remplirMessagesPredefinis();
    void choisirMessagePredefini(int index);
    void insererSignature();
    void ouvrirHistorique(bool envoye);
    void supprimerHistorique(bool envoye);
    void ajouterPVSysTray();
    void mSupprimerPVSysTray();
    void mMettreAJourPVSysTray();
    void afficherRappel(const RappelDeclenche& rappel);
    void ouvrirRappel(const RappelDeclenche& rappel);
    bool notifierBureau(const ContenuNotification& contenu);
    void ouvrirNonLus(const QByteArray& jeton);
    void enregistrerRaccourci(const std::optional<HotKey>& touches);
    void choisirStation(const QString& station);
    void relierBureau();
    void reduireUneFoisAffichee();
    void mNotifierMessage(const MessageCapture& message);
    void mNotifierLot(const QList<MessageCapture>& lot);
    frmMessage* ouvrirNouveauMessage(const MessageCapture& message, const QList<EntreeHistorique>& lot = {});
    void devant(QWidget* fenetre);
    void relierRepondre(frmMessage* fenetre);
    void picSysTrayDoubleClic();
    void ouvrirPreferences();
    void ouvrirAProposDe();
    void messagesLus();
    void decharger();

    GlobalHotKey* m_hotKey;
    RaccourciPortail* m_portail = nullptr;
    NotificationBureau* m_notificationBureau = nullptr;
    EnvoiMessage* m_envoi = nullptr;
    QPointer<frmEnvoiMessageGroupe> m_fenetreGroupe;
    frmPreference* m_preferences = nullptr; // while it is open
    QPointer<frmUtilisateur> m_frmUtilisateur;
    QPointer<frmGroupe> m_frmGroupe;
    QPointer<frmMessagePredefini> m_frmMessagePredefini;
    bool m_envoiEnCours = false;
    bool m_envoiGroupe = false;
    bool m_charge = false;
    bool m_quitter = false;
    bool m_decharge = false;

    std::unique_ptr<Capture> m_capture;
    qsizetype m_nbNonReconnusDits = 0; // pop-ups under an unknown title, as last said in the status bar
    int m_nbNouveauxMessages = 0;
    // Kept as widgets: they are looked at while they are destroyed, when they are no longer frmMessage.
    QList<QPointer<QWidget>> m_fenetresNouveauxMessages;
    QPointer<frmMessage> m_fenetreUnique;   // display mode 1
    QPointer<frmMessage> m_fenetreLot;      // the other modes: the messages of a backlog
    QList<MessageCapture> m_bullesNonLues;  // display mode 2: shown only in balloons so far
    QList<RappelDeclenche> m_rappelsNonLus; // shown only in a desktop notification so far
};

} // namespace pv
