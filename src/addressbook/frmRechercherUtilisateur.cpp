#include "addressbook/frmRechercherUtilisateur.h"

#include "common/Controles.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Saisie.h"
#include "engine/Settings.h"

#include <QApplication>
#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace pv {

namespace {

const QString ClePosition = QStringLiteral("PositionTailleFenetreRechercherUtilisateur");

} // namespace

frmRechercherUtilisateur::frmRechercherUtilisateur(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmRechercherUtilisateur"));
    setWindowTitle(QStringLiteral("Rechercher des utilisateurs"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    chkDomainePrincipal = gCreerControle<QCheckBox>(this, "chkDomainePrincipal", QStringLiteral("Domaine principal"));
    lblNomDomaine = gCreerControle<QLabel>(this, "lblNomDomaine", QStringLiteral("Domaine"));
    txtNomDomaine = gCreerControle<QLineEdit>(this, "txtNomDomaine");
    lblNomDomaine->setBuddy(txtNomDomaine);
    gSelectionnerAuFocus(txtNomDomaine);
    lstStation = gCreerControle<QListWidget>(this, "lstStation");
    lstStation->setSelectionMode(QAbstractItemView::ExtendedSelection);
    cmdRechercher = gCreerControle<QPushButton>(this, "cmdRechercher", QStringLiteral("&Rechercher"));
    cmdAjouter = gCreerControle<QPushButton>(this, "cmdAjouter", QStringLiteral("&Ajouter"));
    cmdAnnuler = gCreerControle<QPushButton>(this, "cmdAnnuler", QStringLiteral("Annuler"));

    auto* domaine = new QGridLayout;
    domaine->addWidget(chkDomainePrincipal, 0, 0, 1, 3);
    domaine->addWidget(lblNomDomaine, 1, 0);
    domaine->addWidget(txtNomDomaine, 1, 1);
    domaine->addWidget(cmdRechercher, 1, 2);
    domaine->setColumnStretch(1, 1);
    auto* boutons = new QHBoxLayout;
    boutons->addStretch();
    boutons->addWidget(cmdAjouter);
    boutons->addWidget(cmdAnnuler);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(domaine);
    layout->addWidget(lstStation, 1);
    layout->addLayout(boutons);

    chkDomainePrincipal->setChecked(true);
    cmdAjouter->setEnabled(false);
    // Enter in the domain box searches.
    cmdRechercher->setDefault(true);
    connect(chkDomainePrincipal, &QCheckBox::toggled, this, &frmRechercherUtilisateur::mettreAJourControles);
    connect(txtNomDomaine, &QLineEdit::textChanged, this, &frmRechercherUtilisateur::mettreAJourControles);
    connect(lstStation, &QListWidget::itemSelectionChanged, this, [this] {
        cmdAjouter->setEnabled(!lstStation->selectedItems().isEmpty());
    });
    connect(cmdRechercher, &QPushButton::clicked, this, &frmRechercherUtilisateur::rechercher);
    connect(cmdAjouter, &QPushButton::clicked, this, &frmRechercherUtilisateur::ajouter);
    connect(cmdAnnuler, &QPushButton::clicked, this, [this] {
        m_listeStation.clear();
        reject();
    });
    connect(lstStation, &QListWidget::itemDoubleClicked, this, &frmRechercherUtilisateur::ajouter);

    setMinimumSize(320, 300);
    resize(380, 420);
    gAfficherLibelle(gParametres().fichierLangue, this);
    mettreAJourControles();
}

void frmRechercherUtilisateur::showEvent(QShowEvent* event)
{
    if (!m_place) {
        m_place = true;
        gRestaurerPositionFenetre(this, ClePosition);
    }
    QDialog::showEvent(event);
}

void frmRechercherUtilisateur::done(int resultat)
{
    if (m_place) {
        gEnregistrerPositionFenetre(this, ClePosition);
    }
    QDialog::done(resultat);
}

void frmRechercherUtilisateur::mettreAJourControles()
{
    const bool principal = chkDomainePrincipal->isChecked();
    lblNomDomaine->setEnabled(!principal);
    txtNomDomaine->setEnabled(!principal);
    cmdRechercher->setEnabled(!m_attente && (principal || !txtNomDomaine->text().isEmpty()));
}

void frmRechercherUtilisateur::rechercher()
{
    if (m_attente) {
        return;
    }
    const QString groupe = gDomaineRecherche(chkDomainePrincipal->isChecked(), txtNomDomaine->text());
    lstStation->clear();
    cmdAjouter->setEnabled(false);
    m_attente.emplace();
    mettreAJourControles();
    // The listing waits on the network for a while: the window keeps painting meanwhile.
    gListerStationsAsync(
        this, groupe, mListerStations, [this](const QStringList& stations) { afficherStations(stations); });
}

void frmRechercherUtilisateur::afficherStations(const QStringList& stations)
{
    lstStation->addItems(stations);
    m_attente.reset();
    mettreAJourControles();
    if (!stations.isEmpty()) {
        lstStation->setFocus();
    }
    Q_EMIT rechercheTerminee();
}

void frmRechercherUtilisateur::ajouter()
{
    QStringList stations;
    for (int i = 0; i < lstStation->count(); ++i) {
        if (lstStation->item(i)->isSelected()) {
            stations.append(lstStation->item(i)->text());
        }
    }
    if (stations.isEmpty()) {
        return;
    }
    m_listeStation = stations.join(QLatin1Char('|'));
    accept();
}

} // namespace pv
