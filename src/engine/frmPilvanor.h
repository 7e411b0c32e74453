#pragma once

#include "common/CurseurAttente.h"
#include "common/DataFile.h"
#include "engine/Capture.h"
#include "engine/HotKey.h"
#include "engine/frmPilvanorUi.h"

#include <QMainWindow>
#include <QPointer>

#include <memory>
#include <optional>

namespace pv {

class AvisMessages;
class ChoixDestinataire;
class EnvoiMessage;
class frmMessage;
class GlobalHotKey;
class RaccourciPortail;
struct Demande;
class frmEnvoiMessageGroupe;
class frmPreference;
class frmGroupe;
class frmMessagePredefini;
class frmUtilisateur;
struct ResultatStation;

// The main window: the program's first and last window. Its controls are those of frmPilvanorUi.
class frmPilvanor : public QMainWindow, public frmPilvanorUi
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
    // The tray icon, the new-message windows and the desktop's notifications.
    AvisMessages* avisMessages() const { return m_avis; }
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

    // Reads the settings again and applies them at once: captions of the open windows, hot key, message font,
    // tray icon, capture interval. Done after the preferences are saved.
    void appliquerParametres();

    bool hotKeyRegistered() const;

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* objet, QEvent* event) override;

private:
    void relierControles();
    template<typename Editeur>
    void ouvrirEditeur(QPointer<Editeur>& fenetre);
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
    void enregistrerRaccourci(const std::optional<HotKey>& touches);
    void relierBureau();
    void reduireUneFoisAffichee();
    void devant(QWidget* fenetre);
    void relierRepondre(frmMessage* fenetre);
    void ouvrirPreferences();
    void ouvrirAProposDe();
    void decharger();

    GlobalHotKey* m_hotKey;
    RaccourciPortail* m_portail = nullptr;
    EnvoiMessage* m_envoi = nullptr;
    QPointer<frmEnvoiMessageGroupe> m_fenetreGroupe;
    frmPreference* m_preferences = nullptr; // while it is open
    QPointer<frmUtilisateur> m_frmUtilisateur;
    QPointer<frmGroupe> m_frmGroupe;
    QPointer<frmMessagePredefini> m_frmMessagePredefini;
    std::optional<CurseurAttente> m_envoiEnCours; // the wait cursor while a send runs
    bool m_envoiGroupe = false;
    bool m_charge = false;
    bool m_quitter = false;
    bool m_decharge = false;

    std::unique_ptr<Capture> m_capture;
    qsizetype m_nbNonReconnusDits = 0; // pop-ups under an unknown title, as last said in the status bar
    AvisMessages* m_avis;
    ChoixDestinataire* m_destinataire;
};

} // namespace pv
