#pragma once

#include <QDialog>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <exception>
#include <functional>

class QAbstractItemView;
class QPushButton;
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
    CadreEdition(QAbstractItemView* liste,
                 QWidget* cadre,
                 const QList<QWidget*>& boutonsListe,
                 QObject* parent = nullptr);

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

    // The editors' layout: the list (or its frame) with its buttons on the right and Close at their foot, the
    // editing frame below.
    static void disposer(
        QWidget* fenetre, QWidget* liste, const QList<QPushButton*>& boutons, QPushButton* cmdFermer, QWidget* cadre);

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

// Grows the window by the frame's height when it shows, and gives the height back when it hides.
void gFairePlaceAuCadre(QWidget* fenetre, QWidget* cadre, bool visible);

// The address book's editors (users, groups, predefined messages): the frame grows the window as it opens,
// Escape and closing the window leave the frame first, and the window keeps its place between runs.
class DialogueEdition : public QDialog
{
    Q_OBJECT

Q_SIGNALS:
    // The table was written and reloaded.
    void donneesModifiees();

public Q_SLOTS:
    void done(int resultat) override;

protected:
    DialogueEdition(QWidget* parent, const QString& clePosition);

    // Once the controls exist: Add, Modify (and a double click), Delete and Cancel reach the members below.
    // `autres` are more list buttons that editing disables; `cmdOK`, when given, is the default button of the frame.
    void installerCadre(QAbstractItemView* liste,
                        QWidget* cadre,
                        QPushButton* cmdAjouter,
                        QPushButton* cmdModifier,
                        QPushButton* cmdSupprimer,
                        const QList<QWidget*>& autres,
                        QPushButton* cmdOK,
                        QPushButton* cmdAnnuler);

    virtual void ajouter() = 0;
    virtual void modifier() = 0;
    virtual void supprimer() = 0;
    // Fills the list again, selecting the row of `selection`.
    virtual void remplirListe(const QString& selection = QString()) = 0;
    // Reads the table again after a write.
    virtual void recharger() = 0;
    // Modify and Delete need a row; they stay as they are while the frame is open.
    virtual void mettreAJourBoutons();
    // At the first show; places the window by default.
    virtual void premierAffichage();

    // Puts the window where it was left; it keeps its place from then on.
    void placer();
    void ouvrirCadre(bool ajout, QWidget* premier);
    void fermerCadre();
    // recharger(), then donneesModifiees.
    void tableModifiee();
    // Deletes the selected row once the question `cleQuestion` is answered Yes: `effacer` writes the store and may
    // throw; then the list is filled again and the row at the same position selected.
    void supprimerLigne(const char* cleQuestion, const std::function<void(int ligne)>& effacer);
    // The data file could not be written.
    static void signalerEchecEcriture(const std::exception& e);
    static QString langue();

    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

    CadreEdition* m_edition = nullptr;

private:
    QString m_clePosition;
    QAbstractItemView* m_liste = nullptr;
    QWidget* m_cadre = nullptr;
    QPushButton* m_cmdModifier = nullptr;
    QPushButton* m_cmdSupprimer = nullptr;
    QPushButton* m_cmdOK = nullptr;
    bool m_place = false;
};

} // namespace pv
