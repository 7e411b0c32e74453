#pragma once

#include "common/CadreEdition.h"

#include <functional>

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace pv {

// The users window: the address book, and in selection mode the picker of the groups editor.
class frmUtilisateur : public DialogueEdition
{
    Q_OBJECT

public:
    explicit frmUtilisateur(QWidget* parent = nullptr);

    // Fills the list and sets the mode; runs by itself the first time the window shows. Set the selection mode
    // before.
    void charger();

    // An empty station saves the editor (the OK button). A station is stored as a new user described by its own
    // name, without checks and without refilling the list.
    void mEnregistrerUtilisateur(const QString& pstrStation = QString());
    // Imports a file chosen by the user; returns every station read, joined by "|", or "" when cancelled.
    // With pblnImporterDansGroupe the list of this window is not refilled.
    QString mImporterUtilisateur(QWidget* proprietaire, bool pblnImporterDansGroupe);

    bool mblnSelectionnerSeulement = false;
    QString mstrListeStation; // selection mode: the chosen stations joined by "|"; "" when cancelled
    bool pblnImporterDansGroupe = false;

    // The file dialog of the import; returns "" when cancelled. Tests answer it.
    std::function<QString(QWidget* proprietaire)> mChoisirFichierImport;
    // The domain search; returns the chosen stations joined by "|". Tests answer it.
    std::function<QString(QWidget* proprietaire)> mRechercherDomaine;

    QGroupBox* fraListeUtilisateur;
    QTreeWidget* lstUtilisateur;
    QGroupBox* fraUtilisateur;
    QLabel* lblNomStation;
    QLineEdit* txtNomStation;
    QLabel* lblDescription;
    QLineEdit* txtDescription;
    QCheckBox* chkIgnorer;
    QPushButton* cmdAjouter;
    QPushButton* cmdModifier;
    QPushButton* cmdSupprimer;
    QPushButton* cmdImporter;
    QPushButton* cmdRechercher;
    QPushButton* cmdOK;
    QPushButton* cmdAnnuler;
    QPushButton* cmdFermer;

private:
    void premierAffichage() override;
    void remplirListe(const QString& stationASelectionner = QString()) override;
    void recharger() override;
    void mettreAJourBoutons() override;
    void ajouter() override;
    void modifier() override;
    void supprimer() override;
    void importer();
    void rechercher();

    int m_colonneTri = -1;
    QString m_stationChargee;
    QString m_descriptionChargee;
};

} // namespace pv
