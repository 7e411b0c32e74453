#pragma once

#include "common/CadreEdition.h"

#include <functional>

class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace pv {

// The groups window: named lists of stations, their members taken from the users list or from a file.
class frmGroupe final : public DialogueEdition
{
    Q_OBJECT

public:
    explicit frmGroupe(QWidget* parent = nullptr);

    // The users window in selection mode; returns the chosen stations joined by "|". Tests answer it.
    std::function<QString(QWidget* proprietaire)> mChoisirUtilisateurs;
    // The import's file dialog, handed to the users window; empty: its own. Tests answer it.
    std::function<QString(QWidget* proprietaire)> mChoisirFichierImport;

    QTreeWidget* lstGroupe;
    QGroupBox* fraGroupe;
    QLabel* lblNomGroupe;
    QLineEdit* txtNomGroupe;
    QLabel* lblMembres;
    QTreeWidget* lstUtilisateur;
    QPushButton* cmdAjouter;
    QPushButton* cmdModifier;
    QPushButton* cmdSupprimer;
    QPushButton* cmdUtilisateur;
    QPushButton* cmdImporter;
    QPushButton* cmdEnlever;
    QPushButton* cmdOK;
    QPushButton* cmdAnnuler;
    QPushButton* cmdFermer;

private:
    void remplirListe(const QString& groupeASelectionner = QString()) override;
    void recharger() override;
    void mettreAJourBoutons() override;
    void ajouter() override;
    void modifier() override;
    void supprimer() override;
    void enregistrer();
    void ajouterMembres(const QString& stations);
    void enlever();
    QStringList membres() const;

    QString m_nomCharge;
};

} // namespace pv
