#pragma once

#include <array>

class QAction;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QMainWindow;
class QMenu;
class QPlainTextEdit;
class QRadioButton;
class QStatusBar;
class QTimer;
class QToolBar;

namespace pv {

// The main window's controls under their design names; each objectName is that name so that the language files
// reach it. Building them wires nothing but the toolbar buttons to the menu entries they stand for.
struct frmPilvanorUi
{
    void construire(QMainWindow* fenetre);

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

    // The toolbar buttons under their keys. They carry no objectName: their tool tips come, in order, from their
    // toolbar's label.
    struct Boutons
    {
        QAction* Utilisateurs;
        QAction* Groupes;
        QAction* HistoriqueMessageRecu;
        QAction* HistoriqueMessageEnvoye;
        QAction* MessagePredefini;
        QAction* ListeRappel;
        QAction* Preference;
        QAction* AProposDe;
        QAction* AidePilvanor;
        QAction* EnvoyerMessage;
        QAction* EffacerMessage;
        QAction* OuvrirTexteSelectionne;
    } bouton;

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
    QMenu* mnuSysTray; // the tray icon's menu, not in the menu bar
    QAction* mnuSysRestaurer;
    QAction* mnuSysHistoriqueMessageRecu;
    QAction* mnuSysHistoriqueMessageEnvoye;
    QAction* mnuSysListeRappel;
    QAction* mnuSysPreference;
    QAction* mnuSysAProposDe;
    QAction* mnuSysAidePilvanor;
    QAction* mnuSysQuitter;

private:
    void construireMenus(QMainWindow* fenetre);
    void construireBarresOutils(QMainWindow* fenetre);
    void construireControles(QMainWindow* fenetre);
};

} // namespace pv
