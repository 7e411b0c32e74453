#include "common/CadreEdition.h"

#include "common/DataFile.h"
#include "common/Fenetres.h"
#include "common/Language.h"
#include "common/Parametres.h"

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QBoxLayout>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QPushButton>
#include <QWidget>

namespace pv {

CadreEdition::CadreEdition(QAbstractItemView* liste,
                           QWidget* cadre,
                           const QList<QWidget*>& boutonsListe,
                           QObject* parent)
    : QObject(parent)
    , m_liste(liste)
    , m_cadre(cadre)
{
    for (QWidget* b : boutonsListe) {
        m_boutons.append(b);
    }
    connect(liste, &QAbstractItemView::doubleClicked, this, [this] {
        if (!m_ouvert && m_liste && m_liste->model() && m_liste->model()->rowCount() > 0) {
            Q_EMIT modifierDemande();
        }
    });
    appliquerEtat();
}

void CadreEdition::ouvrir(bool ajout, QWidget* premier)
{
    m_ouvert = true;
    m_ajout = ajout;
    appliquerEtat();
    if (premier) {
        premier->setFocus();
    }
}

void CadreEdition::fermer()
{
    m_ouvert = false;
    m_ajout = false;
    appliquerEtat();
    if (m_liste) {
        m_liste->setFocus();
    }
}

void CadreEdition::appliquerEtat()
{
    if (m_cadre) {
        m_cadre->setVisible(m_ouvert);
    }
    if (m_liste) {
        m_liste->setEnabled(!m_ouvert);
    }
    for (const auto& b : m_boutons) {
        if (b) {
            b->setEnabled(!m_ouvert);
        }
    }
}

void CadreEdition::refuser(QWidget* controle, const QString& fichierLangue, const char* cleMessage)
{
    refuser(controle, fichierLangue, cleMessage, {});
}

void CadreEdition::refuser(QWidget* controle,
                           const QString& fichierLangue,
                           const char* cleMessage,
                           const QStringList& champs)
{
    gMessageBox(fichierLangue, QLatin1String(cleMessage), MsgStyle::Exclamation, champs);
    if (controle) {
        controle->setFocus();
    }
}

bool CadreEdition::confirmerSuppression(const QString& fichierLangue, const char* cleMessage)
{
    return gMessageBox(fichierLangue, QLatin1String(cleMessage), MsgStyle::YesNo | MsgStyle::Question)
           == MsgResult::Yes;
}

int CadreEdition::ligneApresSuppression(int ligne, int nombre)
{
    if (nombre <= 0) {
        return -1;
    }
    return qBound(0, ligne, nombre - 1);
}

int CadreEdition::ligneSelectionnee() const
{
    if (!m_liste || !m_liste->selectionModel()) {
        return -1;
    }
    const QModelIndex i = m_liste->currentIndex();
    return i.isValid() && m_liste->selectionModel()->isRowSelected(i.row(), i.parent()) ? i.row() : -1;
}

void CadreEdition::selectionnerLigne(int ligne)
{
    if (!m_liste || !m_liste->model()) {
        return;
    }
    QAbstractItemModel* modele = m_liste->model();
    if (ligne < 0 || ligne >= modele->rowCount()) {
        m_liste->clearSelection();
        return;
    }
    const QModelIndex i = modele->index(ligne, 0);
    m_liste->selectionModel()->setCurrentIndex(i, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_liste->scrollTo(i);
}

void CadreEdition::selectionnerApresSuppression(int ligneSupprimee)
{
    const int nombre = m_liste && m_liste->model() ? m_liste->model()->rowCount() : 0;
    selectionnerLigne(ligneApresSuppression(ligneSupprimee, nombre));
    if (m_liste) {
        m_liste->setFocus();
    }
}

void CadreEdition::disposer(
    QWidget* fenetre, QWidget* liste, const QList<QPushButton*>& boutons, QPushButton* cmdFermer, QWidget* cadre)
{
    auto* colonne = new QVBoxLayout;
    for (QPushButton* b : boutons) {
        colonne->addWidget(b);
    }
    colonne->addStretch();
    colonne->addWidget(cmdFermer);
    auto* haut = new QHBoxLayout;
    haut->addWidget(liste, 1);
    haut->addLayout(colonne);
    auto* layout = new QVBoxLayout(fenetre);
    layout->addLayout(haut, 1);
    layout->addWidget(cadre);
}

void gFairePlaceAuCadre(QWidget* fenetre, QWidget* cadre, bool visible)
{
    const int espace = fenetre->layout() ? fenetre->layout()->spacing() : 0;
    const int hauteur = cadre->sizeHint().height() + qMax(espace, 0);
    if (visible == !cadre->isHidden()) {
        return;
    }
    cadre->setVisible(visible);
    fenetre->resize(fenetre->width(),
                    qMax(fenetre->minimumSizeHint().height(), fenetre->height() + (visible ? hauteur : -hauteur)));
}

DialogueEdition::DialogueEdition(QWidget* parent, const QString& clePosition)
    : QDialog(parent)
    , m_clePosition(clePosition)
{
}

void DialogueEdition::installerCadre(QAbstractItemView* liste,
                                     QWidget* cadre,
                                     QPushButton* cmdAjouter,
                                     QPushButton* cmdModifier,
                                     QPushButton* cmdSupprimer,
                                     const QList<QWidget*>& autres,
                                     QPushButton* cmdOK,
                                     QPushButton* cmdAnnuler)
{
    m_liste = liste;
    m_cadre = cadre;
    m_cmdModifier = cmdModifier;
    m_cmdSupprimer = cmdSupprimer;
    m_cmdOK = cmdOK;
    m_edition = new CadreEdition(liste, cadre, QList<QWidget*> {cmdAjouter, cmdModifier, cmdSupprimer} + autres, this);
    connect(m_edition, &CadreEdition::modifierDemande, this, [this] { modifier(); });
    connect(cmdAjouter, &QPushButton::clicked, this, [this] { ajouter(); });
    connect(cmdModifier, &QPushButton::clicked, this, [this] { modifier(); });
    connect(cmdSupprimer, &QPushButton::clicked, this, [this] { supprimer(); });
    connect(cmdAnnuler, &QPushButton::clicked, this, &DialogueEdition::fermerCadre);
}

QString DialogueEdition::langue()
{
    return gParametres().fichierLangue;
}

void DialogueEdition::premierAffichage()
{
    placer();
}

void DialogueEdition::placer()
{
    m_place = true;
    gRestaurerPositionFenetre(this, m_clePosition);
}

void DialogueEdition::showEvent(QShowEvent* event)
{
    if (!m_place) {
        premierAffichage();
    }
    QDialog::showEvent(event);
}

void DialogueEdition::done(int resultat)
{
    if (m_edition->ouvert()) {
        fermerCadre();
    }
    if (m_place) {
        gEnregistrerPositionFenetre(this, m_clePosition);
    }
    QDialog::done(resultat);
}

void DialogueEdition::keyPressEvent(QKeyEvent* event)
{
    // Escape leaves the frame, not the window.
    if (event->key() == Qt::Key_Escape && m_edition->ouvert()) {
        fermerCadre();
        return;
    }
    QDialog::keyPressEvent(event);
}

void DialogueEdition::mettreAJourBoutons()
{
    if (!m_edition->ouvert()) {
        const bool lignes = m_liste->model()->rowCount() > 0;
        m_cmdModifier->setEnabled(lignes);
        m_cmdSupprimer->setEnabled(lignes);
    }
}

void DialogueEdition::ouvrirCadre(bool ajout, QWidget* premier)
{
    gFairePlaceAuCadre(this, m_cadre, true);
    m_edition->ouvrir(ajout, premier);
    if (m_cmdOK) {
        m_cmdOK->setDefault(true);
    }
    mettreAJourBoutons();
}

void DialogueEdition::fermerCadre()
{
    if (m_cmdOK) {
        m_cmdOK->setDefault(false);
    }
    gFairePlaceAuCadre(this, m_cadre, false);
    m_edition->fermer();
    mettreAJourBoutons();
}

void DialogueEdition::tableModifiee()
{
    recharger();
    Q_EMIT donneesModifiees();
}

void DialogueEdition::supprimerLigne(const char* cleQuestion, const std::function<void(int ligne)>& effacer)
{
    const int ligne = m_edition->ligneSelectionnee();
    if (ligne < 0) {
        return;
    }
    if (!CadreEdition::confirmerSuppression(langue(), cleQuestion)) {
        m_liste->setFocus();
        return;
    }
    try {
        effacer(ligne);
    } catch (const std::exception& e) {
        signalerEchecEcriture(e);
        return;
    }
    tableModifiee();
    remplirListe();
    m_edition->selectionnerApresSuppression(ligne);
    mettreAJourBoutons();
}

void DialogueEdition::signalerEchecEcriture(const std::exception& e)
{
    gMessageBox(langue(),
                QStringLiteral("ErreurEcritureFichier"),
                MsgStyle::Exclamation,
                {gFichierDonnees(), QString::fromUtf8(e.what())});
}

} // namespace pv
