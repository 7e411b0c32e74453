#pragma once

#include "engine/Envoi.h"

#include <QObject>

#include <array>

class QComboBox;
class QLabel;
class QRadioButton;

namespace pv {

// The main window's recipient box: users or groups as the options say, completion as letters are typed, typed
// characters in upper case, and the quick group of typed stations shown beside it.
class ChoixDestinataire : public QObject
{
    Q_OBJECT

public:
    ChoixDestinataire(const std::array<QRadioButton*, 2>& options,
                      QComboBox* liste,
                      QLabel* groupeRapide,
                      QObject* parent);

    // Fills the list from the tables; nothing is selected.
    void remplir();
    // As remplir, keeping what is typed (after an editor changed the tables).
    void actualiser();
    // The users' list with the station chosen in it, or typed when it is no user.
    void choisirStation(const QString& station);
    // The quick group's caption follows the typed stations and the language.
    void afficherGroupeRapide();
    // What Send takes.
    DestinataireChoisi destinataire() const;

Q_SIGNALS:
    // Enter without a modifier: the window decides whether that sends.
    void entree();

protected:
    bool eventFilter(QObject* objet, QEvent* event) override;

private:
    void completer();

    std::array<QRadioButton*, 2> m_options;
    QComboBox* m_liste;
    QLabel* m_groupeRapide;
};

} // namespace pv
