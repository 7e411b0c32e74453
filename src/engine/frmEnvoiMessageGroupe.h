#pragma once

#include <QWidget>

class QPushButton;
class QTreeWidget;

namespace pv {

// The group send report: a heading line, one line per station with its outcome, a closing line. It sends nothing
// itself. Closing it deletes it; the next group send makes a new one, which restores the kept position again.
class frmEnvoiMessageGroupe : public QWidget
{
    Q_OBJECT

public:
    explicit frmEnvoiMessageGroupe(QWidget* parent = nullptr);

    // Clears the lines and shows the window; Close waits for mTerminerEnvoi.
    void mDebuterEnvoi();
    // A line; an empty station makes a heading or closing line that carries its text alone. plngCouleurStatut is a
    // Windows colour (red in the low byte), -1 for the default colour.
    void mAjouterUtilisateurListe(const QString& pstrStation, const QString& pstrStatut, int plngCouleurStatut = -1);
    void mTerminerEnvoi();

    QTreeWidget* lstUtilisateur;
    QPushButton* cmdFermer;

protected:
    void closeEvent(QCloseEvent* event) override;
};

} // namespace pv
