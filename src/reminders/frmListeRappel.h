#pragma once

#include "reminders/Rappels.h"

#include <QPointer>
#include <QWidget>

class QComboBox;
class QDateEdit;
class QGroupBox;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTimeEdit;
class QTreeWidget;

namespace pv {

class CadreEdition;

// The stored reminders, with an editing frame to add and modify them. One instance at a time.
class frmListeRappel : public QWidget
{
    Q_OBJECT

public:
    explicit frmListeRappel(QWidget* parent = nullptr);
    ~frmListeRappel() override;

    // Opens the one list window, or brings it forward when it is open.
    static frmListeRappel* mAfficher();
    static frmListeRappel* instance();

    // Writes a fired reminder back under its key, moved on to its next occurrence (see gReceduler); the open list
    // shows it. A store that cannot be written is reported.
    static void mReceduler(const QString& pstrCle, const QStringList& pvarRappel, int pintDuree, int pintTemps);

    // Reads the section again and selects the row of `cle`, or the first row.
    void mChargerListe(const QString& cle);
    const QList<LigneRappel>& lignes() const { return m_lignes; }
    CadreEdition* edition() const { return m_edition; }

    QTreeWidget* lstRappel;
    QPushButton* cmdAjouter;
    QPushButton* cmdModifier;
    QPushButton* cmdSupprimer;
    QPushButton* cmdFermer;
    QGroupBox* fraRappel;
    QLabel* lblPlanification;
    QComboBox* cboPlanification;
    QLabel* lblDate;
    QDateEdit* txtDate;
    QLabel* lblJour;
    QListWidget* lstJour;
    QLabel* lblHeure;
    QTimeEdit* txtHeure;
    QLabel* lblMessage;
    QPlainTextEdit* txtMessage;
    QPushButton* cmdOK;
    QPushButton* cmdAnnuler;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void cboPlanification_Click(int index);
    void cmdAjouter_Click();
    void cmdModifier_Click();
    void cmdSupprimer_Click();
    void cmdOK_Click();
    QString cleSelectionnee() const;

    CadreEdition* m_edition;
    QList<LigneRappel> m_lignes;
    QString m_cleModifiee; // the reminder the frame edits; empty when adding

    static QPointer<frmListeRappel> s_instance;
};

} // namespace pv
