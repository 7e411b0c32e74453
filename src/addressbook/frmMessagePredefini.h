#pragma once

#include <QDialog>

class QAction;
class QGroupBox;
class QListWidget;
class QMenu;
class QPlainTextEdit;
class QPushButton;

namespace pv {

class CadreEdition;

// The stock texts offered by the main window, placeholders included.
class frmMessagePredefini : public QDialog
{
    Q_OBJECT

public:
    explicit frmMessagePredefini(QWidget* parent = nullptr);

    QListWidget* lstMessagePredefini; // row text: the stored text, "¶" marks included; row data: the key
    QGroupBox* fraMessagePredefini;
    QPlainTextEdit* txtMessage;
    QPushButton* cmdInsererCaractereSpecial;
    QPushButton* cmdAjouter;
    QPushButton* cmdModifier;
    QPushButton* cmdSupprimer;
    QPushButton* cmdOK;
    QPushButton* cmdAnnuler;
    QPushButton* cmdFermer;
    QMenu* mnuCaracteresSpeciaux;
    QList<QAction*> mnuCaractereSpecial; // by menu position; separators are null

Q_SIGNALS:
    // The table was written and reloaded.
    void donneesModifiees();

public Q_SLOTS:
    void done(int resultat) override;

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void remplirListe(const QString& cleASelectionner = QString());
    void mettreAJourBoutons();
    void ajouter();
    void modifier();
    void enregistrer();
    void supprimer();
    void ouvrirCadre(bool ajout);
    void fermerCadre();

    CadreEdition* m_edition;
    bool m_place = false;
    QString m_cleChargee;
};

} // namespace pv
