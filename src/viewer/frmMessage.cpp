#include "viewer/frmMessage.h"

#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "engine/Settings.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace pv {

namespace {

template<typename T, typename... Args>
T* controle(QWidget* parent, const char* nom, Args&&... args)
{
    auto* c = new T(std::forward<Args>(args)..., parent);
    c->setObjectName(QLatin1String(nom));
    return c;
}

QLineEdit* champLecture(QWidget* parent, const char* nom)
{
    auto* c = controle<QLineEdit>(parent, nom);
    c->setReadOnly(true);
    return c;
}

QString texteMessage(const char* cle, const QStringList& champs = {})
{
    return gMessageTexte(gParametres().fichierLangue, QLatin1String(cle), champs);
}

} // namespace

frmMessage::frmMessage(TypeFenetre type, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , mintTypeFenetre(type)
{
    setObjectName(QStringLiteral("frmMessage"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Message"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    cboUtilisateur = controle<QComboBox>(this, "cboUtilisateur");
    fraExpediteur = controle<QGroupBox>(this, "fraExpediteur", QStringLiteral("Expéditeur"));
    txtUtilisateur = champLecture(fraExpediteur, "txtUtilisateur");
    txtDateHeure = champLecture(fraExpediteur, "txtDateHeure");
    // The whole "yyyy-mm-dd hh:mm:ss" stays readable.
    txtDateHeure->setMinimumWidth(txtDateHeure->fontMetrics().horizontalAdvance(QStringLiteral("0000-00-00 00:00:00"))
                                  + 24);
    lblExpediteurDouteux = controle<QLabel>(fraExpediteur, "lblExpediteurDouteux");
    // Its text comes from the message section, filled with the peer.
    lblExpediteurDouteux->setProperty("sansLibelle", true);
    lblExpediteurDouteux->setWordWrap(true);
    lblExpediteurDouteux->hide();
    fraMessage = controle<QGroupBox>(this, "fraMessage", QStringLiteral("Message"));
    txtMessage = controle<QPlainTextEdit>(fraMessage, "txtMessage");
    txtMessage->setReadOnly(true);
    gAppliquerPolice(txtMessage);

    // The actions on the shown message come later: they stay disabled until they work.
    cmdRepondre = controle<QPushButton>(this, "cmdRepondre", QStringLiteral("&Répondre"));
    chkAjouterMessageReponse = controle<QCheckBox>(this, "chkAjouterMessageReponse", QStringLiteral("Ajouter"));
    cmdRechercher = controle<QPushButton>(this, "cmdRechercher", QStringLiteral("Rechercher"));
    cmdImprimer = controle<QPushButton>(this, "cmdImprimer", QStringLiteral("&Imprimer..."));
    cmdSupprimer = controle<QPushButton>(this, "cmdSupprimer", QStringLiteral("&Supprimer"));
    cmdFermer = controle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));
    for (QWidget* w : {static_cast<QWidget*>(cmdRepondre),
                       static_cast<QWidget*>(chkAjouterMessageReponse),
                       static_cast<QWidget*>(cmdRechercher),
                       static_cast<QWidget*>(cmdImprimer),
                       static_cast<QWidget*>(cmdSupprimer)}) {
        w->setEnabled(false);
    }
    cmdFermer->setDefault(true);
    connect(cmdFermer, &QPushButton::clicked, this, &QWidget::close);

    fraRechercherTexte = controle<QGroupBox>(this, "fraRechercherTexte", QStringLiteral("Rechercher"));
    txtTexteRecherche = controle<QLineEdit>(fraRechercherTexte, "txtTexteRecherche");
    for (int i = 0; i < 2; ++i) {
        optDepartRecherche[i] = controle<QRadioButton>(fraRechercherTexte, "optDepartRecherche");
        optDepartRecherche[i]->setProperty("index", i);
    }
    cmdRechercherTexte = controle<QPushButton>(fraRechercherTexte, "cmdRechercherTexte", QStringLiteral("&Suivant"));
    cmdAnnulerRechercheTexte
        = controle<QPushButton>(fraRechercherTexte, "cmdAnnulerRechercheTexte", QStringLiteral("Annuler"));
    fraRechercherTexte->setEnabled(false);
    fraRechercherTexte->hide();

    chkRepeterRappel = controle<QCheckBox>(this, "chkRepeterRappel", QStringLiteral("Répéter dans"));
    spnDureeRepetitionRappel = controle<QSpinBox>(this, "spnDureeRepetitionRappel");
    spnDureeRepetitionRappel->setRange(1, 999);
    // The spin box's own edit is the duration box.
    if (auto* duree = spnDureeRepetitionRappel->findChild<QLineEdit*>()) {
        duree->setObjectName(QStringLiteral("txtDureeRepetitionRappel"));
    }
    cboTempsRepetitionRappel = controle<QComboBox>(this, "cboTempsRepetitionRappel");
    mAfficherControlesRappel(false);

    auto* expediteur = new QGridLayout(fraExpediteur);
    expediteur->addWidget(txtUtilisateur, 0, 0);
    expediteur->addWidget(txtDateHeure, 0, 1);
    expediteur->addWidget(lblExpediteurDouteux, 1, 0, 1, 2);
    expediteur->setColumnStretch(0, 1);
    (new QVBoxLayout(fraMessage))->addWidget(txtMessage);
    auto* recherche = new QGridLayout(fraRechercherTexte);
    recherche->addWidget(txtTexteRecherche, 0, 0, 1, 2);
    recherche->addWidget(optDepartRecherche[0], 1, 0);
    recherche->addWidget(optDepartRecherche[1], 1, 1);
    recherche->addWidget(cmdRechercherTexte, 0, 2);
    recherche->addWidget(cmdAnnulerRechercheTexte, 1, 2);
    auto* repetition = new QHBoxLayout;
    repetition->addWidget(chkRepeterRappel);
    repetition->addWidget(spnDureeRepetitionRappel);
    repetition->addWidget(cboTempsRepetitionRappel);
    repetition->addStretch();
    auto* boutons = new QHBoxLayout;
    for (QWidget* w : {static_cast<QWidget*>(cmdRepondre),
                       static_cast<QWidget*>(chkAjouterMessageReponse),
                       static_cast<QWidget*>(cmdRechercher),
                       static_cast<QWidget*>(cmdImprimer),
                       static_cast<QWidget*>(cmdSupprimer)}) {
        boutons->addWidget(w);
    }
    boutons->addStretch();
    boutons->addWidget(cmdFermer);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(cboUtilisateur);
    layout->addWidget(fraExpediteur);
    layout->addWidget(fraMessage, 1);
    layout->addWidget(fraRechercherTexte);
    layout->addLayout(repetition);
    layout->addLayout(boutons);

    setMinimumSize(360, 240);
    resize(600, 380);
    gAfficherLibelle(gParametres().fichierLangue, this);
    connect(cboUtilisateur, &QComboBox::currentIndexChanged, this, &frmMessage::mChoisirLigne);
}

bool frmMessage::mCharger()
{
    switch (mintTypeFenetre) {
    case TypeFenetre::NouveauMessage:
        if (gParametres().affichageMessage == AffichageMessage::UneSeuleFenetre
            && mObtenirHistoriqueMessage(mstrDateHeurePremierMessage) > 0) {
            mChargerListeUtilisateurDateHeure();
        } else {
            cboUtilisateur->hide();
            m_cleAffichee = mstrDateHeurePremierMessage;
            mAfficherMessage();
        }
        cmdSupprimer->hide();
        mVerifierExpediteur();
        break;
    case TypeFenetre::HistoriqueRecu:
    case TypeFenetre::HistoriqueEnvoye: {
        const bool envoye = gHistoriqueEnvoye(mintTypeFenetre);
        if (mObtenirHistoriqueMessage(QString()) == 0) {
            mblnAucunMessage = true;
            gMessageBox(gParametres().fichierLangue,
                        QLatin1String(envoye ? "HistoriqueMessageEnvoyeVide" : "HistoriqueMessageRecuVide"),
                        MsgStyle::Information);
            return false;
        }
        mChargerListeUtilisateurDateHeure();
        setWindowTitle(
            texteMessage(envoye ? "TitreFenetreHistoriqueMessageEnvoye" : "TitreFenetreHistoriqueMessageRecu"));
        if (envoye) {
            fraExpediteur->setTitle(texteMessage("CadreDestinataire"));
            chkAjouterMessageReponse->hide();
            cmdRepondre->setText(texteMessage("BoutonReenvoyer"));
        }
        break;
    }
    case TypeFenetre::Rappel:
        setWindowTitle(texteMessage("TitreFenetreRappel"));
        for (QWidget* w : {static_cast<QWidget*>(cboUtilisateur),
                           static_cast<QWidget*>(cmdSupprimer),
                           static_cast<QWidget*>(cmdRechercher),
                           static_cast<QWidget*>(cmdRepondre),
                           static_cast<QWidget*>(fraExpediteur),
                           static_cast<QWidget*>(chkAjouterMessageReponse)}) {
            w->hide();
        }
        // The repeat controls stay hidden until rescheduling exists; their presets are already in place.
        if (mvarRappel.value(0) == QLatin1String("0")) {
            spnDureeRepetitionRappel->setValue(15);
            cboTempsRepetitionRappel->clear();
            cboTempsRepetitionRappel->addItems(
                {texteMessage("RepetitionRappelMinute"), texteMessage("RepetitionRappelHeure")});
            cboTempsRepetitionRappel->setCurrentIndex(0);
        }
        mAfficherMessage();
        break;
    }
    mblnCharge = true;
    gRestaurerPositionFenetre(this, gClePositionFenetreMessage(mintTypeFenetre));
    return true;
}

int frmMessage::mObtenirHistoriqueMessage(const QString& pstrDateHeurePremierMessage)
{
    mHistorique = gObtenirHistoriqueMessage(mintTypeFenetre, pstrDateHeurePremierMessage);
    return int(mHistorique.size());
}

void frmMessage::mChargerListeUtilisateurDateHeure()
{
    const QSignalBlocker bloque(cboUtilisateur);
    cboUtilisateur->clear();
    cboUtilisateur->addItems(gLignesChoix(mHistorique));
    cboUtilisateur->setCurrentIndex(0);
    mChoisirLigne(0);
}

void frmMessage::mChoisirLigne(int ligne)
{
    const int index = gIndexEntree(cboUtilisateur->count(), ligne);
    if (index < 0 || index >= mHistorique.size()) {
        return;
    }
    const EntreeHistorique& e = mHistorique.at(index);
    mstrExpediteur = e.station;
    mstrDateHeure = gFormaterDateHeureCle(e.cle);
    mstrMessage = e.texte;
    m_cleAffichee = e.cle;
    mAfficherMessage();
    mintIndexMessageRecherche = index;
    mintPosTexteRecherche = 1;
}

void frmMessage::mAfficherMessage()
{
    txtUtilisateur->setText(gNomAffiche(mstrExpediteur));
    txtDateHeure->setText(mstrDateHeure);
    // The stored breaks are CR LF; the edit wants bare line feeds.
    QString texte = mstrMessage;
    texte.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    txtMessage->setPlainText(texte);
    mAfficherExpediteurDouteux();
}

void frmMessage::mVerifierExpediteur()
{
    if (mstrAdressePair.isEmpty()) {
        return;
    }
    const QString cle = mstrDateHeurePremierMessage;
    gVerifierExpediteurAsync(
        this,
        mstrExpediteur,
        mstrAdressePair,
        [this, cle](VerdictExpediteur verdict) {
            if (verdict == VerdictExpediteur::AutreAdresse) {
                m_cleDouteuse = cle;
                mAfficherExpediteurDouteux();
            }
            Q_EMIT expediteurVerifie(verdict);
        },
        mResolveurs);
}

void frmMessage::mAfficherExpediteurDouteux()
{
    // Only beside the message that was checked, not the older ones of a shared window.
    const bool douteux = !m_cleDouteuse.isNull() && m_cleAffichee == m_cleDouteuse;
    if (douteux) {
        lblExpediteurDouteux->setText(texteMessage("ExpediteurNonVerifie", {mstrAdressePair}));
    }
    lblExpediteurDouteux->setVisible(douteux);
}

void frmMessage::mAfficherControlesRappel(bool visible)
{
    chkRepeterRappel->setVisible(visible);
    spnDureeRepetitionRappel->setVisible(visible);
    cboTempsRepetitionRappel->setVisible(visible);
}

void frmMessage::closeEvent(QCloseEvent* event)
{
    if (mblnCharge) {
        gEnregistrerPositionFenetre(this, gClePositionFenetreMessage(mintTypeFenetre));
    }
    event->accept();
}

} // namespace pv
