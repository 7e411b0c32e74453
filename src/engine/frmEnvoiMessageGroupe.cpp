#include "engine/frmEnvoiMessageGroupe.h"

#include "common/Controles.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "engine/Settings.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace pv {

namespace {

const QString ClePosition = QStringLiteral("PositionTailleFenetreEnvoiMessageGroupe");

} // namespace

frmEnvoiMessageGroupe::frmEnvoiMessageGroupe(QWidget* parent)
    : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("frmEnvoiMessageGroupe"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Envoi de groupe"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    lstUtilisateur = gCreerControle<QTreeWidget>(this, "lstUtilisateur");
    lstUtilisateur->setColumnCount(2);
    lstUtilisateur->setHeaderLabels({QStringLiteral("Destinataire"), QStringLiteral("Statut")});
    lstUtilisateur->setRootIsDecorated(false);
    lstUtilisateur->setUniformRowHeights(true);
    lstUtilisateur->setSelectionMode(QAbstractItemView::NoSelection);
    lstUtilisateur->setColumnWidth(0, 180);
    lstUtilisateur->header()->setStretchLastSection(true);

    cmdFermer = gCreerControle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));
    // Enter closes the report once the send is over, as in a dialog.
    cmdFermer->setAutoDefault(true);
    connect(cmdFermer, &QPushButton::clicked, this, &QWidget::close);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lstUtilisateur, 1);
    auto* boutons = new QHBoxLayout;
    boutons->addStretch();
    boutons->addWidget(cmdFermer);
    layout->addLayout(boutons);

    setMinimumSize(320, 200);
    resize(600, 320);
    gAfficherLibelle(gParametres().fichierLangue, this);
    gRestaurerPositionFenetre(this, ClePosition);
}

void frmEnvoiMessageGroupe::mDebuterEnvoi()
{
    lstUtilisateur->clear();
    cmdFermer->setEnabled(false);
    // Left minimised after the last send, it would report this one where nobody sees it.
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
}

void frmEnvoiMessageGroupe::mAjouterUtilisateurListe(const QString& pstrStation,
                                                     const QString& pstrStatut,
                                                     int plngCouleurStatut)
{
    auto* ligne = new QTreeWidgetItem(lstUtilisateur);
    int colonne = 1;
    if (pstrStation.isEmpty()) {
        colonne = 0;
        ligne->setFirstColumnSpanned(true);
    } else {
        ligne->setText(0, pstrStation);
    }
    ligne->setText(colonne, pstrStatut);
    // A failure text may be wider than the column.
    ligne->setToolTip(colonne, pstrStatut);
    if (plngCouleurStatut >= 0) {
        ligne->setForeground(
            colonne,
            QColor(plngCouleurStatut & 0xFF, (plngCouleurStatut >> 8) & 0xFF, (plngCouleurStatut >> 16) & 0xFF));
    }
    lstUtilisateur->scrollToItem(ligne);
}

void frmEnvoiMessageGroupe::mTerminerEnvoi()
{
    cmdFermer->setEnabled(true);
    cmdFermer->setFocus();
}

void frmEnvoiMessageGroupe::closeEvent(QCloseEvent* event)
{
    gEnregistrerPositionFenetre(this, ClePosition);
    event->accept();
}

} // namespace pv
