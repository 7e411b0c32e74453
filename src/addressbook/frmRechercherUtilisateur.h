#pragma once

#include "addressbook/RechercheDomaine.h"
#include "common/CurseurAttente.h"

#include <QDialog>

#include <optional>

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace pv {

// The stations of a workgroup, listed from the network, some of them chosen for the users list.
class frmRechercherUtilisateur : public QDialog
{
    Q_OBJECT

public:
    explicit frmRechercherUtilisateur(QWidget* parent = nullptr);

    // The chosen stations joined by "|", in list order; "" when cancelled.
    const QString& listeStation() const { return m_listeStation; }
    // How the stations are listed; tests give their own.
    FonctionListeStations mListerStations = gListeStationsReseau();
    bool rechercheEnCours() const { return m_attente.has_value(); }

    QCheckBox* chkDomainePrincipal;
    QLabel* lblNomDomaine;
    QLineEdit* txtNomDomaine;
    QListWidget* lstStation;
    QPushButton* cmdRechercher;
    QPushButton* cmdAjouter;
    QPushButton* cmdAnnuler;

Q_SIGNALS:
    void rechercheTerminee();

public Q_SLOTS:
    void done(int resultat) override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void mettreAJourControles();
    void rechercher();
    void afficherStations(const QStringList& stations);
    void ajouter();

    QString m_listeStation;
    std::optional<CurseurAttente> m_attente; // while the listing runs
    bool m_place = false;
};

} // namespace pv
