#include "addressbook/frmGroupe.h"

#include "addressbook/CarnetAdresses.h"
#include "addressbook/frmUtilisateur.h"
#include "common/CadreEdition.h"
#include "common/Controles.h"
#include "common/CurseurAttente.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Saisie.h"
#include "engine/Settings.h"

#include <QApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace pv {

namespace {

QString choisirUtilisateurs(QWidget* proprietaire)
{
    frmUtilisateur utilisateurs(proprietaire);
    utilisateurs.mblnSelectionnerSeulement = true;
    utilisateurs.exec();
    return utilisateurs.mstrListeStation;
}

QTreeWidget* liste(QWidget* parent, const char* nom, const QString& colonne0, const QString& colonne1)
{
    auto* l = gCreerControle<QTreeWidget>(parent, nom);
    l->setColumnCount(2);
    l->setHeaderLabels({colonne0, colonne1});
    l->setRootIsDecorated(false);
    l->setUniformRowHeights(true);
    l->setAllColumnsShowFocus(true);
    l->setColumnWidth(0, 140);
    l->header()->setStretchLastSection(true);
    return l;
}

} // namespace

frmGroupe::frmGroupe(QWidget* parent)
    : DialogueEdition(parent, QStringLiteral("PositionTailleFenetreGroupe"))
{
    setObjectName(QStringLiteral("frmGroupe"));
    setWindowTitle(QStringLiteral("Groupes"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    lstGroupe = liste(this, "lstGroupe", QStringLiteral("Groupe"), QStringLiteral("Utilisateurs"));
    cmdAjouter = gCreerControle<QPushButton>(this, "cmdAjouter", QStringLiteral("&Ajouter"));
    cmdModifier = gCreerControle<QPushButton>(this, "cmdModifier", QStringLiteral("&Modifier"));
    cmdSupprimer = gCreerControle<QPushButton>(this, "cmdSupprimer", QStringLiteral("&Supprimer"));
    cmdFermer = gCreerControle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));

    fraGroupe = gCreerControle<QGroupBox>(this, "fraGroupe", QStringLiteral("Groupe"));
    lblNomGroupe = gCreerControle<QLabel>(fraGroupe, "lblNomGroupe", QStringLiteral("Nom"));
    txtNomGroupe = gCreerControle<QLineEdit>(fraGroupe, "txtNomGroupe");
    lblMembres = gCreerControle<QLabel>(fraGroupe, "lblMembres", QStringLiteral("Membres"));
    lstUtilisateur = liste(fraGroupe, "lstUtilisateur", QStringLiteral("Station"), QStringLiteral("Description"));
    cmdUtilisateur = gCreerControle<QPushButton>(fraGroupe, "cmdUtilisateur", QStringLiteral("&Utilisateurs..."));
    cmdImporter = gCreerControle<QPushButton>(fraGroupe, "cmdImporter", QStringLiteral("&Importer..."));
    cmdEnlever = gCreerControle<QPushButton>(fraGroupe, "cmdEnlever", QStringLiteral("&Enlever"));
    cmdOK = gCreerControle<QPushButton>(fraGroupe, "cmdOK", QStringLiteral("OK"));
    cmdAnnuler = gCreerControle<QPushButton>(fraGroupe, "cmdAnnuler", QStringLiteral("Annuler"));
    lblNomGroupe->setBuddy(txtNomGroupe);
    lblMembres->setBuddy(lstUtilisateur);
    gSelectionnerAuFocus(txtNomGroupe);

    auto* boutonsMembres = new QVBoxLayout;
    for (QPushButton* b : {cmdUtilisateur, cmdImporter, cmdEnlever}) {
        boutonsMembres->addWidget(b);
    }
    boutonsMembres->addStretch();
    boutonsMembres->addWidget(cmdOK);
    boutonsMembres->addWidget(cmdAnnuler);
    auto* editeur = new QGridLayout(fraGroupe);
    editeur->addWidget(lblNomGroupe, 0, 0);
    editeur->addWidget(txtNomGroupe, 0, 1);
    editeur->addWidget(lblMembres, 1, 0, Qt::AlignTop);
    editeur->addWidget(lstUtilisateur, 1, 1);
    editeur->addLayout(boutonsMembres, 0, 2, 2, 1);
    editeur->setColumnStretch(1, 1);
    lstUtilisateur->setMinimumHeight(120);
    CadreEdition::disposer(this, lstGroupe, {cmdAjouter, cmdModifier, cmdSupprimer}, cmdFermer, fraGroupe);

    installerCadre(lstGroupe, fraGroupe, cmdAjouter, cmdModifier, cmdSupprimer, {}, cmdOK, cmdAnnuler);
    connect(cmdOK, &QPushButton::clicked, this, &frmGroupe::enregistrer);
    connect(cmdFermer, &QPushButton::clicked, this, &QDialog::reject);
    connect(cmdEnlever, &QPushButton::clicked, this, &frmGroupe::enlever);
    connect(cmdUtilisateur, &QPushButton::clicked, this, [this] {
        const QString stations = mChoisirUtilisateurs ? mChoisirUtilisateurs(this) : choisirUtilisateurs(this);
        const CurseurAttente attente;
        ajouterMembres(stations);
    });
    connect(cmdImporter, &QPushButton::clicked, this, [this] {
        frmUtilisateur utilisateurs(this);
        utilisateurs.mChoisirFichierImport = mChoisirFichierImport;
        connect(&utilisateurs, &frmUtilisateur::donneesModifiees, this, &frmGroupe::donneesModifiees);
        // Every station of the file becomes a user too, when it was not one.
        ajouterMembres(utilisateurs.mImporterUtilisateur(this, true));
    });

    setMinimumSize(460, 220);
    resize(600, 260);
    gAfficherLibelle(langue(), this);
    remplirListe();
}

void frmGroupe::remplirListe(const QString& groupeASelectionner)
{
    lstGroupe->clear();
    QTreeWidgetItem* choisi = nullptr;
    for (const Groupe& g : gGroupes()) {
        const QString membres = gAfficherMembres(g.membres, gUtilisateurs(), gParametres().afficherStationAvecNomIP);
        auto* ligne = new QTreeWidgetItem(lstGroupe, {g.nom, membres});
        ligne->setToolTip(1, membres);
        if (!choisi && !groupeASelectionner.isEmpty() && g.nom == groupeASelectionner) {
            choisi = ligne;
        }
    }
    if (!choisi) {
        choisi = lstGroupe->topLevelItem(0);
    }
    if (choisi) {
        lstGroupe->setCurrentItem(choisi);
        lstGroupe->scrollToItem(choisi);
    }
    mettreAJourBoutons();
}

void frmGroupe::mettreAJourBoutons()
{
    DialogueEdition::mettreAJourBoutons();
    cmdEnlever->setEnabled(lstUtilisateur->topLevelItemCount() > 0);
}

void frmGroupe::recharger()
{
    gChargerUtilisateurGroupe();
}

void frmGroupe::ajouter()
{
    txtNomGroupe->clear();
    lstUtilisateur->clear();
    m_nomCharge.clear();
    ouvrirCadre(true, txtNomGroupe);
}

void frmGroupe::modifier()
{
    const QTreeWidgetItem* ligne = lstGroupe->currentItem();
    if (!ligne || !ligne->isSelected()) {
        return;
    }
    m_nomCharge = ligne->text(0);
    txtNomGroupe->setText(m_nomCharge);
    lstUtilisateur->clear();
    ajouterMembres(
        gRechercherGroupe(m_nomCharge).membres.split(QLatin1Char(','), Qt::SkipEmptyParts).join(QLatin1Char('|')));
    ouvrirCadre(false, txtNomGroupe);
}

QStringList frmGroupe::membres() const
{
    QStringList out;
    for (int i = 0; i < lstUtilisateur->topLevelItemCount(); ++i) {
        out.append(lstUtilisateur->topLevelItem(i)->text(0));
    }
    return out;
}

void frmGroupe::ajouterMembres(const QString& stations)
{
    const QStringList avant = membres();
    const QStringList apres = gAjouterMembres(avant, stations.split(QLatin1Char('|'), Qt::SkipEmptyParts));
    for (qsizetype i = avant.size(); i < apres.size(); ++i) {
        bool connu = false;
        const Utilisateur u = gRechercherUtilisateur(apres[i], false, &connu);
        new QTreeWidgetItem(lstUtilisateur, {apres[i], connu ? u.description : QString()});
    }
    if (lstUtilisateur->topLevelItemCount() > 0) {
        lstUtilisateur->setCurrentItem(lstUtilisateur->topLevelItem(0));
    }
    mettreAJourBoutons();
    lstUtilisateur->setFocus();
}

void frmGroupe::enlever()
{
    delete lstUtilisateur->currentItem();
    if (lstUtilisateur->topLevelItemCount() > 0) {
        lstUtilisateur->setCurrentItem(lstUtilisateur->topLevelItem(0));
        lstUtilisateur->setFocus();
    }
    mettreAJourBoutons();
}

void frmGroupe::enregistrer()
{
    // A key cannot keep blanks around it in the file.
    const QString nom = txtNomGroupe->text().trimmed();
    const QStringList liste = membres();
    if (const auto refus = gVerifierGroupe(nom, liste, m_nomCharge, gGroupes())) {
        m_edition->refuser(refus->champ == Champ::Membres ? static_cast<QWidget*>(lstUtilisateur) : txtNomGroupe,
                           langue(),
                           refus->cleMessage,
                           refus->champs);
        return;
    }
    try {
        gEnregistrerGroupe(nom, liste, m_nomCharge);
    } catch (const std::exception& e) {
        signalerEchecEcriture(e);
        return;
    }
    tableModifiee();
    remplirListe(nom);
    fermerCadre();
}

void frmGroupe::supprimer()
{
    supprimerLigne("SupprimerGroupe", [this](int ligne) { gSupprimerGroupe(lstGroupe->topLevelItem(ligne)->text(0)); });
}

} // namespace pv
