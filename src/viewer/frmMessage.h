#pragma once

#include "engine/VerificationExpediteur.h"
#include "viewer/Historique.h"

#include <QWidget>

#include <functional>

class QAction;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;

namespace pv {

class SpinDureeRappel;

// The one window that shows messages: a new one, either history, or a fired reminder. The creator gives the type
// and, where it applies, the message, the first key or the reminder, then calls mCharger.
class frmMessage : public QWidget
{
    Q_OBJECT

public:
    explicit frmMessage(TypeFenetre type, QWidget* parent = nullptr);

    // Set-up by type, then the kept position. False when a history was empty: the box was shown and the caller
    // should delete the window instead of showing it.
    bool mCharger();
    // Loads the type's history from a first key on (all of it when empty); returns the number of entries.
    int mObtenirHistoriqueMessage(const QString& pstrDateHeurePremierMessage);
    // Fills the chooser newest first and shows line 0.
    void mChargerListeUtilisateurDateHeure();
    // Shows mstrExpediteur (a station, shown by its displayed name), mstrDateHeure and mstrMessage.
    void mAfficherMessage();
    // Lists messages stored since the window opened after those it lists, and shows the newest.
    void mAjouterMessages(const QList<EntreeHistorique>& entrees);
    // Open history windows of that type follow what was just stored; like fresh ones, they show the newest.
    static void mActualiserHistoriques(TypeFenetre type);

    TypeFenetre typeFenetre() const { return mintTypeFenetre; }
    const QList<EntreeHistorique>& historique() const { return m_historique; }

    // Given by the creator before mCharger.
    QString mstrExpediteur;
    QString mstrDateHeure;
    QString mstrMessage;
    QString clePremierMessage;
    QString mstrCleRappel;
    QStringList mvarRappel;
    // New messages that came together: listed, in place of the one message above.
    QList<EntreeHistorique> nouveauxMessages;
    // The peer address of a new message: checked against the sender's addresses when given.
    QString adresseExpediteur;
    ResolveursExpediteur resolveurs = gResolveursReseau(); // tests keep it off the LAN
    // The main window's mRepondre (station, text, prefix flag), given by the opener.
    std::function<void(const QString&, const QString&, bool)> mRepondre;

    bool mblnAucunMessage = false;
    int mintIndexMessageRecherche = 0;
    int mintPosTexteRecherche = 1;

    QComboBox* cboUtilisateur;
    QGroupBox* fraExpediteur;
    QLineEdit* txtUtilisateur;
    QLabel* lblDateHeure;
    QLineEdit* txtDateHeure;
    QLabel* lblExpediteurDouteux;
    QGroupBox* fraMessage;
    QPlainTextEdit* txtMessage;
    QAction* mnuOuvrirTexteSelectionne; // in txtMessage's context menu; its key is "OuvrirTexteSelectionne"
    QPushButton* cmdRepondre;
    QCheckBox* chkAjouterMessageReponse;
    QPushButton* cmdRechercher;
    QPushButton* cmdImprimer;
    QPushButton* cmdSupprimer;
    QPushButton* cmdFermer;
    QGroupBox* fraRechercherTexte;
    QLineEdit* txtTexteRecherche;
    QRadioButton* optDepartRecherche[2];
    QPushButton* cmdRechercherTexte;
    QPushButton* cmdAnnulerRechercheTexte;
    QCheckBox* chkRepeterRappel;
    SpinDureeRappel* spnDureeRepetitionRappel;
    QLineEdit* txtDureeRepetitionRappel;
    QComboBox* cboTempsRepetitionRappel;

Q_SIGNALS:
    // The check of the sender against the peer address has answered.
    void expediteurVerifie(pv::VerdictExpediteur verdict);

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void mChoisirLigne(int ligne);
    void mAfficherControlesRappel(bool visible);
    void chkRepeterRappel_Click();
    void cmdFermer_Click();
    void mVerifierExpediteur();
    void mAfficherExpediteurDouteux();
    void cmdRepondre_Click();
    void optDepartRecherche_Click(int index);
    void mRecommencerRecherche();
    void cmdRechercherTexte_Click();
    void cmdSupprimer_Click();
    void cmdImprimer_Click();
    void txtMessage_MenuContextuel(const QPoint& position);

    TypeFenetre mintTypeFenetre;
    QList<EntreeHistorique> m_historique;
    bool m_charge = false;
    QString m_cleAffichee; // history key of the shown message
    QString m_cleDouteuse; // the message whose peer is not its sender's
};

} // namespace pv
