#include "addressbook/frmUtilisateur.h"

#include "addressbook/CarnetAdresses.h"
#include "addressbook/frmRechercherUtilisateur.h"
#include "common/CadreEdition.h"
#include "common/Controles.h"
#include "common/CurseurAttente.h"
#include "common/Dialogues.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Saisie.h"

#include <QApplication>
#include <QCheckBox>
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

QString choisirFichierImport(QWidget* proprietaire)
{
    return gOuvrirFichier(
        proprietaire, QStringLiteral("FiltreFichierTexte"), QStringLiteral("TitreFenetreImporterUtilisateur"));
}

QString rechercherDomaine(QWidget* proprietaire)
{
    frmRechercherUtilisateur recherche(proprietaire);
    recherche.exec();
    return recherche.listeStation();
}

} // namespace

frmUtilisateur::frmUtilisateur(QWidget* parent)
    : DialogueEdition(parent, QStringLiteral("PositionTailleFenetreUtilisateur"))
{
    setObjectName(QStringLiteral("frmUtilisateur"));
    setWindowTitle(QStringLiteral("Utilisateurs"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    fraListeUtilisateur = gCreerControle<QGroupBox>(this, "fraListeUtilisateur", QStringLiteral("Utilisateurs"));
    lstUtilisateur = gCreerControle<QTreeWidget>(fraListeUtilisateur, "lstUtilisateur");
    lstUtilisateur->setColumnCount(3);
    lstUtilisateur->setHeaderLabels(
        {QStringLiteral("Station"), QStringLiteral("Description"), QStringLiteral("Ignorer")});
    lstUtilisateur->setRootIsDecorated(false);
    lstUtilisateur->setUniformRowHeights(true);
    lstUtilisateur->setAllColumnsShowFocus(true);
    lstUtilisateur->setColumnWidth(0, 130);
    lstUtilisateur->setColumnWidth(1, 210);
    lstUtilisateur->header()->setStretchLastSection(true);
    lstUtilisateur->header()->setSectionsClickable(true);
    (new QVBoxLayout(fraListeUtilisateur))->addWidget(lstUtilisateur);

    cmdAjouter = gCreerControle<QPushButton>(this, "cmdAjouter", QStringLiteral("&Ajouter"));
    cmdModifier = gCreerControle<QPushButton>(this, "cmdModifier", QStringLiteral("&Modifier"));
    cmdSupprimer = gCreerControle<QPushButton>(this, "cmdSupprimer", QStringLiteral("&Supprimer"));
    cmdImporter = gCreerControle<QPushButton>(this, "cmdImporter", QStringLiteral("&Importer..."));
    cmdRechercher = gCreerControle<QPushButton>(this, "cmdRechercher", QStringLiteral("&Rechercher..."));
    cmdFermer = gCreerControle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));

    fraUtilisateur = gCreerControle<QGroupBox>(this, "fraUtilisateur", QStringLiteral("Utilisateur"));
    lblNomStation = gCreerControle<QLabel>(fraUtilisateur, "lblNomStation", QStringLiteral("Station"));
    txtNomStation = gCreerControle<QLineEdit>(fraUtilisateur, "txtNomStation");
    lblDescription = gCreerControle<QLabel>(fraUtilisateur, "lblDescription", QStringLiteral("Description"));
    txtDescription = gCreerControle<QLineEdit>(fraUtilisateur, "txtDescription");
    chkIgnorer = gCreerControle<QCheckBox>(fraUtilisateur, "chkIgnorer", QStringLiteral("Ignorer"));
    cmdOK = gCreerControle<QPushButton>(fraUtilisateur, "cmdOK", QStringLiteral("OK"));
    cmdAnnuler = gCreerControle<QPushButton>(fraUtilisateur, "cmdAnnuler", QStringLiteral("Annuler"));
    lblNomStation->setBuddy(txtNomStation);
    lblDescription->setBuddy(txtDescription);
    gZoneStation(txtNomStation);
    gSelectionnerAuFocus(txtNomStation);
    gSelectionnerAuFocus(txtDescription);

    auto* editeur = new QGridLayout(fraUtilisateur);
    editeur->addWidget(lblNomStation, 0, 0);
    editeur->addWidget(txtNomStation, 0, 1);
    editeur->addWidget(lblDescription, 1, 0);
    editeur->addWidget(txtDescription, 1, 1);
    editeur->addWidget(chkIgnorer, 2, 1);
    editeur->addWidget(cmdOK, 0, 2);
    editeur->addWidget(cmdAnnuler, 1, 2);
    editeur->setColumnStretch(1, 1);
    CadreEdition::disposer(this,
                           fraListeUtilisateur,
                           {cmdAjouter, cmdModifier, cmdSupprimer, cmdImporter, cmdRechercher},
                           cmdFermer,
                           fraUtilisateur);

    installerCadre(lstUtilisateur,
                   fraUtilisateur,
                   cmdAjouter,
                   cmdModifier,
                   cmdSupprimer,
                   {cmdImporter, cmdRechercher},
                   cmdOK,
                   cmdAnnuler);
    connect(cmdImporter, &QPushButton::clicked, this, &frmUtilisateur::importer);
    connect(cmdRechercher, &QPushButton::clicked, this, &frmUtilisateur::rechercher);
    connect(cmdOK, &QPushButton::clicked, this, [this] { mEnregistrerUtilisateur(); });
    connect(cmdFermer, &QPushButton::clicked, this, [this] {
        mstrListeStation.clear();
        reject();
    });
    connect(lstUtilisateur, &QTreeWidget::itemSelectionChanged, this, [this] {
        if (mblnSelectionnerSeulement) {
            const QBrush normal = lstUtilisateur->palette().brush(QPalette::Text);
            for (int i = 0; i < lstUtilisateur->topLevelItemCount(); ++i) {
                for (int c = 0; c < 3; ++c) {
                    lstUtilisateur->topLevelItem(i)->setForeground(c, normal);
                }
            }
            mettreAJourBoutons();
        }
    });
    // Ascending by the clicked column, and kept so through later refills; a second click does not reverse it.
    connect(lstUtilisateur->header(), &QHeaderView::sectionClicked, this, [this](int colonne) {
        m_colonneTri = colonne;
        lstUtilisateur->sortItems(colonne, Qt::AscendingOrder);
        lstUtilisateur->header()->setSortIndicator(colonne, Qt::AscendingOrder);
        lstUtilisateur->header()->setSortIndicatorShown(true);
    });

    setMinimumSize(460, 280);
    resize(600, 320);
    gAfficherLibelle(langue(), this);
}

void frmUtilisateur::charger()
{
    lstUtilisateur->setSelectionMode(mblnSelectionnerSeulement ? QAbstractItemView::ExtendedSelection
                                                               : QAbstractItemView::SingleSelection);
    if (mblnSelectionnerSeulement) {
        cmdRechercher->setText(gMessageTexte(langue(), QStringLiteral("BoutonAjouter")));
        cmdFermer->setText(gMessageTexte(langue(), QStringLiteral("BoutonAnnuler")));
        for (QPushButton* b : {cmdAjouter, cmdModifier, cmdSupprimer, cmdImporter}) {
            b->hide();
        }
    }
    remplirListe();
    placer();
}

void frmUtilisateur::premierAffichage()
{
    charger();
}

void frmUtilisateur::remplirListe(const QString& stationASelectionner)
{
    lstUtilisateur->clear();
    for (const Utilisateur& u : gUtilisateurs()) {
        new QTreeWidgetItem(lstUtilisateur, {u.station, u.description, u.ignorer ? QStringLiteral("X") : QString()});
    }
    if (m_colonneTri >= 0) {
        lstUtilisateur->sortItems(m_colonneTri, Qt::AscendingOrder);
    }
    if (lstUtilisateur->topLevelItemCount() > 0) {
        QTreeWidgetItem* choisi = nullptr;
        if (!stationASelectionner.isEmpty()) {
            const auto trouves = lstUtilisateur->findItems(stationASelectionner, Qt::MatchFixedString, 0);
            choisi = trouves.value(0);
        } else if (!mblnSelectionnerSeulement) {
            choisi = lstUtilisateur->topLevelItem(0);
        }
        if (choisi) {
            lstUtilisateur->setCurrentItem(choisi);
            lstUtilisateur->scrollToItem(choisi);
        } else if (mblnSelectionnerSeulement) {
            lstUtilisateur->clearSelection();
            // Dimmed until the operator picks.
            const QBrush grise = lstUtilisateur->palette().brush(QPalette::Disabled, QPalette::Text);
            for (int i = 0; i < lstUtilisateur->topLevelItemCount(); ++i) {
                for (int c = 0; c < 3; ++c) {
                    lstUtilisateur->topLevelItem(i)->setForeground(c, grise);
                }
            }
        }
    }
    mettreAJourBoutons();
}

void frmUtilisateur::mettreAJourBoutons()
{
    DialogueEdition::mettreAJourBoutons();
    if (mblnSelectionnerSeulement && !m_edition->ouvert()) {
        cmdRechercher->setEnabled(!lstUtilisateur->selectedItems().isEmpty());
    }
}

void frmUtilisateur::ajouter()
{
    txtNomStation->clear();
    txtDescription->clear();
    chkIgnorer->setChecked(false);
    m_stationChargee.clear();
    m_descriptionChargee.clear();
    ouvrirCadre(true, txtNomStation);
}

void frmUtilisateur::modifier()
{
    const QTreeWidgetItem* ligne = lstUtilisateur->currentItem();
    // Nothing is modified in selection mode.
    if (mblnSelectionnerSeulement || !ligne || !ligne->isSelected()) {
        return;
    }
    txtNomStation->setText(ligne->text(0));
    txtDescription->setText(ligne->text(1));
    chkIgnorer->setChecked(!ligne->text(2).isEmpty());
    m_stationChargee = ligne->text(0);
    m_descriptionChargee = ligne->text(1);
    ouvrirCadre(false, txtNomStation);
}

void frmUtilisateur::recharger()
{
    gChargerUtilisateurGroupe();
}

void frmUtilisateur::mEnregistrerUtilisateur(const QString& pstrStation)
{
    if (!pstrStation.isEmpty()) {
        try {
            gEnregistrerStation(pstrStation);
        } catch (const std::exception& e) {
            signalerEchecEcriture(e);
        }
        tableModifiee();
        return;
    }
    const SaisieUtilisateur saisie {txtNomStation->text(), txtDescription->text(), chkIgnorer->isChecked()};
    if (const auto refus = gVerifierUtilisateur(saisie, m_stationChargee, m_descriptionChargee, gUtilisateurs())) {
        m_edition->refuser(refus->champ == Champ::NomStation ? txtNomStation : txtDescription,
                           langue(),
                           refus->cleMessage,
                           refus->champs);
        return;
    }
    try {
        gEnregistrerUtilisateur(saisie, m_stationChargee);
    } catch (const std::exception& e) {
        // The editor stays open with what was typed.
        signalerEchecEcriture(e);
        return;
    }
    tableModifiee();
    remplirListe(saisie.station);
    fermerCadre();
}

void frmUtilisateur::supprimer()
{
    supprimerLigne("SupprimerUtilisateur",
                   [this](int ligne) { gSupprimerUtilisateur(lstUtilisateur->topLevelItem(ligne)->text(0)); });
}

QString frmUtilisateur::mImporterUtilisateur(QWidget* proprietaire, bool importerDansGroupe)
{
    pblnImporterDansGroupe = importerDansGroupe;
    const QString chemin
        = (mChoisirFichierImport ? mChoisirFichierImport(proprietaire) : choisirFichierImport(proprietaire)).trimmed();
    if (chemin.isEmpty()) {
        return QString();
    }
    ResultatImport resultat;
    try {
        const CurseurAttente attente;
        resultat = gImporterUtilisateurs(chemin);
        tableModifiee();
        if (!pblnImporterDansGroupe) {
            remplirListe();
        }
    } catch (const std::exception& e) {
        gMessageBox(
            langue(), QStringLiteral("ErreurImportation"), MsgStyle::Exclamation, {QString::fromUtf8(e.what())});
        return QString();
    }
    if (resultat.lignesIgnorees > 0) {
        gMessageBox(langue(),
                    QStringLiteral("LignesSansStationIgnorees"),
                    MsgStyle::Information,
                    {QString::number(resultat.lignesIgnorees)});
    }
    return resultat.stations.join(QLatin1Char('|'));
}

void frmUtilisateur::importer()
{
    mImporterUtilisateur(this, false);
    lstUtilisateur->setFocus();
}

void frmUtilisateur::rechercher()
{
    if (mblnSelectionnerSeulement) {
        QStringList stations;
        for (int i = 0; i < lstUtilisateur->topLevelItemCount(); ++i) {
            if (lstUtilisateur->topLevelItem(i)->isSelected()) {
                stations.append(lstUtilisateur->topLevelItem(i)->text(0));
            }
        }
        mstrListeStation = stations.join(QLatin1Char('|'));
        accept();
        return;
    }
    const QString liste = mRechercherDomaine ? mRechercherDomaine(this) : rechercherDomaine(this);
    const QStringList stations = liste.split(QLatin1Char('|'), Qt::SkipEmptyParts);
    if (stations.isEmpty()) {
        return;
    }
    try {
        const CurseurAttente attente;
        gAjouterStations(stations);
        tableModifiee();
        remplirListe(stations.first());
        lstUtilisateur->setFocus();
    } catch (const std::exception& e) {
        signalerEchecEcriture(e);
    }
}

} // namespace pv
