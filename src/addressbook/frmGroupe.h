#pragma once

#include <QDialog>

#include <functional>

class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace pv {

class CadreEdition;

// The groups window: named lists of stations, their members taken from the users list or from a file.
class frmGroupe : public QDialog
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

Q_SIGNALS:
    // The group or user tables were written and reloaded.
    void donneesModifiees();

public Q_SLOTS:
    void done(int resultat) override;

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void remplirListe(const QString& groupeASelectionner = QString());
    void mettreAJourBoutons();
    void ajouter();
    void modifier();
    void enregistrer();
    void supprimer();
    void ajouterMembres(const QString& stations);
    void enlever();
    void ouvrirCadre(bool ajout);
    void fermerCadre();
    QStringList membres() const;

    CadreEdition* m_edition;
    bool m_place = false;
    QString m_nomCharge;
};

} // namespace pv
