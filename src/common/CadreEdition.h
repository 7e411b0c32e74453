#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

class QAbstractItemView;
class QWidget;

namespace pv {

// The pattern every list editor shares (users, groups, predefined messages, reminders): a list, an editing frame
// hidden until Add or Modify, the list and its buttons disabled while the frame is open, a double click on a
// non-empty list acting as Modify, deleting after a question and then selecting the row at the same position.
// The window keeps its own save logic; this class keeps the states consistent.
class CadreEdition : public QObject
{
    Q_OBJECT

public:
    // `boutonsListe` are the controls of the list (Add, Modify, Delete, Close …) that editing disables.
    CadreEdition(QAbstractItemView* liste, QWidget* cadre, QList<QWidget*> boutonsListe, QObject* parent = nullptr);

    // Shows the frame for adding (true) or for modifying the selected row (false) and focuses `premier`.
    void ouvrir(bool ajout, QWidget* premier = nullptr);
    // Hides the frame and gives the list back its buttons and the focus.
    void fermer();
    bool ouvert() const { return m_ouvert; }
    bool ajout() const { return m_ajout; }

    // A failed check: the message of `cleMessage` with the exclamation icon, the frame stays open and the focus
    // goes to the faulty control.
    void refuser(QWidget* controle, const QString& fichierLangue, const char* cleMessage);
    // The same for a message with "$C$" fields.
    void refuser(QWidget* controle, const QString& fichierLangue, const char* cleMessage, const QStringList& champs);
    // Asks the delete question of `cleMessage` (Yes/No); true on Yes.
    static bool confirmerSuppression(const QString& fichierLangue, const char* cleMessage);

    // The row to select once row `ligne` of a list is gone and `nombre` rows remain: the same position, or the
    // previous one when the last row went; -1 when the list is empty.
    static int ligneApresSuppression(int ligne, int nombre);
    // Selects that row in the list (or nothing) and focuses the list.
    void selectionnerApresSuppression(int ligneSupprimee);

    // The selected row, -1 when none.
    int ligneSelectionnee() const;
    void selectionnerLigne(int ligne);

Q_SIGNALS:
    // A double click on a list that holds at least one row, while the frame is closed.
    void modifierDemande();

private:
    void appliquerEtat();

    QPointer<QAbstractItemView> m_liste;
    QPointer<QWidget> m_cadre;
    QList<QPointer<QWidget>> m_boutons;
    bool m_ouvert = false;
    bool m_ajout = false;
};

} // namespace pv
