#pragma once

#include "common/CadreEdition.h"

class QAction;
class QGroupBox;
class QListWidget;
class QMenu;
class QPlainTextEdit;
class QPushButton;

namespace pv {

// The stock texts offered by the main window, placeholders included.
class frmMessagePredefini : public DialogueEdition
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

private:
    void remplirListe(const QString& cleASelectionner = QString()) override;
    void recharger() override;
    void ajouter() override;
    void modifier() override;
    void supprimer() override;
    void enregistrer();

    QString m_cleChargee;
};

} // namespace pv
