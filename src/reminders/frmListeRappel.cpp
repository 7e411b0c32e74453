#include "reminders/frmListeRappel.h"

#include "common/CadreEdition.h"
#include "common/Controles.h"
#include "common/DataFile.h"
#include "common/ErrorReport.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Saisie.h"
#include "common/TexteSaisi.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimeEdit>
#include <QTreeWidget>

namespace pv {

namespace {

const QString ClePosition = QStringLiteral("PositionTailleFenetreMAJRappel");

} // namespace

QPointer<frmListeRappel> frmListeRappel::s_instance;

frmListeRappel::frmListeRappel(QWidget* parent)
    : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("frmListeRappel"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Liste des rappels"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));
    s_instance = this;

    lstRappel = gCreerControle<QTreeWidget>(this, "lstRappel");
    lstRappel->setColumnCount(3);
    lstRappel->setHeaderLabels(
        {QStringLiteral("Planification"), QStringLiteral("Heure du prochain rappel"), QStringLiteral("Message")});
    lstRappel->setRootIsDecorated(false);
    lstRappel->setUniformRowHeights(true);
    lstRappel->setAllColumnsShowFocus(true);
    lstRappel->setSelectionMode(QAbstractItemView::SingleSelection);
    lstRappel->header()->setStretchLastSection(true);
    cmdAjouter = gCreerControle<QPushButton>(this, "cmdAjouter", QStringLiteral("&Ajouter"));
    cmdModifier = gCreerControle<QPushButton>(this, "cmdModifier", QStringLiteral("&Modifier"));
    cmdSupprimer = gCreerControle<QPushButton>(this, "cmdSupprimer", QStringLiteral("&Supprimer"));
    cmdFermer = gCreerControle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));

    fraRappel = gCreerControle<QGroupBox>(this, "fraRappel", QStringLiteral("Rappel"));
    lblPlanification = gCreerControle<QLabel>(fraRappel, "lblPlanification", QStringLiteral("Planification"));
    cboPlanification = gCreerControle<QComboBox>(fraRappel, "cboPlanification");
    for (const char* cle : ClesPlanification) {
        cboPlanification->addItem(gTexteMessage(cle));
    }
    lblHeure = gCreerControle<QLabel>(fraRappel, "lblHeure", QStringLiteral("Heure"));
    txtHeure = gCreerControle<QTimeEdit>(fraRappel, "txtHeure");
    txtHeure->setDisplayFormat(QStringLiteral("HH:mm"));
    lblDate = gCreerControle<QLabel>(fraRappel, "lblDate", QStringLiteral("Date"));
    txtDate = gCreerControle<QDateEdit>(fraRappel, "txtDate");
    txtDate->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    txtDate->setCalendarPopup(true);
    lblJour = gCreerControle<QLabel>(fraRappel, "lblJour", QStringLiteral("Jours"));
    lstJour = gCreerControle<QListWidget>(fraRappel, "lstJour");
    lstJour->setSelectionMode(QAbstractItemView::MultiSelection);
    for (const char* cle : ClesJour) {
        lstJour->addItem(gTexteMessage(cle));
    }
    // All seven days in view, no scrolling.
    lstJour->setFixedHeight(lstJour->sizeHintForRow(0) * lstJour->count() + 2 * lstJour->frameWidth() + 2);
    lblMessage = gCreerControle<QLabel>(fraRappel, "lblMessage", QStringLiteral("Message"));
    txtMessage = gCreerControle<QPlainTextEdit>(fraRappel, "txtMessage");
    gSelectionnerAuFocus(txtMessage);
    txtMessage->setTabChangesFocus(true);
    cmdOK = gCreerControle<QPushButton>(fraRappel, "cmdOK", QStringLiteral("OK"));
    cmdAnnuler = gCreerControle<QPushButton>(fraRappel, "cmdAnnuler", QStringLiteral("A&nnuler"));
    for (QLabel* l : {lblPlanification, lblHeure, lblDate, lblJour}) {
        l->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    }
    lblPlanification->setBuddy(cboPlanification);
    lblHeure->setBuddy(txtHeure);
    lblDate->setBuddy(txtDate);
    lblJour->setBuddy(lstJour);
    lblMessage->setBuddy(txtMessage);

    auto* cadre = new QGridLayout(fraRappel);
    cadre->addWidget(lblPlanification, 0, 0);
    cadre->addWidget(cboPlanification, 0, 1);
    cadre->addWidget(lblHeure, 1, 0);
    cadre->addWidget(txtHeure, 1, 1);
    // The days take the date's place.
    cadre->addWidget(lblDate, 2, 0, Qt::AlignTop);
    cadre->addWidget(txtDate, 2, 1, Qt::AlignTop);
    cadre->addWidget(lblJour, 2, 0, Qt::AlignTop);
    cadre->addWidget(lstJour, 2, 1);
    // At the top of the days' room, the label beside the middle of the picker.
    lblDate->setFixedHeight(txtDate->sizeHint().height());
    // The frame keeps its height whichever kind is shown.
    cadre->setRowMinimumHeight(2, lstJour->height());
    cadre->setRowStretch(3, 1);
    cadre->addWidget(lblMessage, 0, 2);
    cadre->addWidget(txtMessage, 1, 2, 3, 1);
    cadre->setColumnStretch(2, 1);
    cadre->setColumnMinimumWidth(1, 150);
    auto* boutonsCadre = new QHBoxLayout;
    boutonsCadre->addStretch();
    boutonsCadre->addWidget(cmdOK);
    boutonsCadre->addWidget(cmdAnnuler);
    cadre->addLayout(boutonsCadre, 4, 0, 1, 3);

    CadreEdition::disposer(this, lstRappel, {cmdAjouter, cmdModifier, cmdSupprimer}, cmdFermer, fraRappel);
    // The list takes what the window gives; the message box, the room beside the other fields.
    fraRappel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    txtMessage->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);

    m_edition = new CadreEdition(lstRappel, fraRappel, {cmdAjouter, cmdModifier, cmdSupprimer, cmdFermer}, this);
    connect(m_edition, &CadreEdition::modifierDemande, this, &frmListeRappel::cmdModifier_Click);
    connect(cboPlanification, &QComboBox::currentIndexChanged, this, &frmListeRappel::cboPlanification_Click);
    connect(cmdAjouter, &QPushButton::clicked, this, &frmListeRappel::cmdAjouter_Click);
    connect(cmdModifier, &QPushButton::clicked, this, &frmListeRappel::cmdModifier_Click);
    connect(cmdSupprimer, &QPushButton::clicked, this, &frmListeRappel::cmdSupprimer_Click);
    connect(cmdFermer, &QPushButton::clicked, this, &QWidget::close);
    connect(cmdOK, &QPushButton::clicked, this, &frmListeRappel::cmdOK_Click);
    connect(cmdAnnuler, &QPushButton::clicked, m_edition, &CadreEdition::fermer);
    cboPlanification_Click(0);

    setMinimumSize(480, 300);
    resize(640, 480);
    gAfficherLibelle(gParametres().fichierLangue, this);
    mChargerListe(QString());
    gRestaurerPositionFenetre(this, ClePosition);
}

frmListeRappel::~frmListeRappel() = default;

frmListeRappel* frmListeRappel::instance()
{
    return s_instance;
}

frmListeRappel* frmListeRappel::mAfficher()
{
    frmListeRappel* f = s_instance ? s_instance.data() : new frmListeRappel;
    f->showNormal();
    f->raise();
    f->activateWindow();
    return f;
}

void frmListeRappel::mReceduler(const QString& pstrCle, const QStringList& pvarRappel, int pintDuree, int pintTemps)
{
    try {
        gEcrireRappel(pstrCle, gReceduler(pvarRappel, pintDuree, pintTemps).join(QLatin1Char('|')));
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("frmListeRappel.mReceduler"), e);
        return;
    }
    if (s_instance) {
        s_instance->mChargerListe(s_instance->cleSelectionnee());
    }
}

void frmListeRappel::mChargerListe(const QString& cle)
{
    m_lignes = gLireRappels(gParametres().fichierLangue);
    lstRappel->clear();
    int choisie = m_lignes.isEmpty() ? -1 : 0;
    for (int i = 0; i < m_lignes.size(); ++i) {
        auto* item = new QTreeWidgetItem(lstRappel, m_lignes[i].colonnes);
        item->setToolTip(2, gDecoderTexte(m_lignes[i].message));
        if (!cle.isEmpty() && m_lignes[i].cle == cle) {
            choisie = i;
        }
    }
    for (int colonne : {0, 1}) {
        lstRappel->resizeColumnToContents(colonne);
    }
    m_edition->selectionnerLigne(choisie);
}

QString frmListeRappel::cleSelectionnee() const
{
    const int ligne = m_edition->ligneSelectionnee();
    return ligne >= 0 && ligne < m_lignes.size() ? m_lignes[ligne].cle : QString();
}

void frmListeRappel::cboPlanification_Click(int index)
{
    const auto type = static_cast<TypeRappel>(index);
    lblDate->setVisible(type == TypeRappel::UneSeuleFois);
    txtDate->setVisible(type == TypeRappel::UneSeuleFois);
    lblJour->setVisible(type == TypeRappel::ToutesLesSemaines);
    lstJour->setVisible(type == TypeRappel::ToutesLesSemaines);
}

void frmListeRappel::cmdAjouter_Click()
{
    const QDateTime maintenant = gMaintenant();
    // The next whole hour; at 23:xx that is 00:00 with today's date left in the picker.
    const QTime heure = maintenant.time().minute() == 0 ? QTime(maintenant.time().hour(), 0)
                                                        : QTime(maintenant.addSecs(3600).time().hour(), 0);
    m_cleModifiee.clear();
    cboPlanification->setCurrentIndex(0);
    cboPlanification_Click(0);
    txtDate->setDate(maintenant.date());
    txtHeure->setTime(heure);
    lstJour->clearSelection();
    txtMessage->clear();
    m_edition->ouvrir(true, cboPlanification);
}

void frmListeRappel::cmdModifier_Click()
{
    const int ligne = m_edition->ligneSelectionnee();
    if (ligne < 0 || ligne >= m_lignes.size()) {
        return;
    }
    const LigneRappel& l = m_lignes[ligne];
    const int type = int(gTypeRappel(l.type).value_or(TypeRappel::UneSeuleFois));
    cboPlanification->setCurrentIndex(type);
    cboPlanification_Click(type);
    const QDate date = QDate::fromString(l.date, QStringLiteral("yyyy-MM-dd"));
    txtDate->setDate(type == int(TypeRappel::UneSeuleFois) && date.isValid() ? date : gMaintenant().date());
    if (const QTime heure = QTime::fromString(l.heure, QStringLiteral("HH:mm")); heure.isValid()) {
        txtHeure->setTime(heure);
    }
    lstJour->clearSelection();
    if (type == int(TypeRappel::ToutesLesSemaines)) {
        for (const QString& j : l.jours.split(QLatin1Char(','))) {
            const int d = gValeurNombreInitial(j);
            if (d >= 1 && d <= lstJour->count()) {
                lstJour->item(d - 1)->setSelected(true);
            }
        }
    }
    txtMessage->setPlainText(gEnLF(gDecoderTexte(l.message)));
    m_cleModifiee = l.cle;
    m_edition->ouvrir(false, cboPlanification);
}

void frmListeRappel::cmdSupprimer_Click()
{
    const int ligne = m_edition->ligneSelectionnee();
    if (ligne < 0 || ligne >= m_lignes.size()
        || !CadreEdition::confirmerSuppression(gParametres().fichierLangue, "SupprimerRappel")) {
        return;
    }
    try {
        gSupprimerRappel(m_lignes[ligne].cle);
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("frmListeRappel.cmdSupprimer_Click"), e);
        return;
    }
    mChargerListe(QString());
    m_edition->selectionnerApresSuppression(ligne);
}

void frmListeRappel::cmdOK_Click()
{
    SaisieRappel saisie;
    saisie.type = cboPlanification->currentIndex();
    saisie.date = txtDate->date();
    saisie.heure = txtHeure->time();
    for (int i = 0; i < lstJour->count(); ++i) {
        if (lstJour->item(i)->isSelected()) {
            saisie.jours.append(i);
        }
    }
    saisie.message = txtMessage->toPlainText();
    saisie.cle = m_cleModifiee;

    const auto resultat = gPreparerRappel(saisie);
    if (const auto* refus = std::get_if<RefusRappel>(&resultat)) {
        QWidget* fautif = refus->champ == ChampRappel::Heure   ? static_cast<QWidget*>(txtHeure)
                          : refus->champ == ChampRappel::Jours ? static_cast<QWidget*>(lstJour)
                                                               : static_cast<QWidget*>(txtMessage);
        m_edition->refuser(fautif, gParametres().fichierLangue, refus->cleMessage);
        return;
    }
    const auto& rappel = std::get<RappelPrepare>(resultat);
    try {
        gEcrireRappel(rappel.cle, rappel.valeur);
    } catch (const std::exception& e) {
        // Nothing typed is lost: the frame stays open.
        gRapportErreur(QStringLiteral("frmListeRappel.cmdOK_Click"), e);
        return;
    }
    mChargerListe(rappel.cle);
    m_cleModifiee.clear();
    m_edition->fermer();
}

void frmListeRappel::closeEvent(QCloseEvent* event)
{
    gEnregistrerPositionFenetre(this, ClePosition);
    event->accept();
}

} // namespace pv
