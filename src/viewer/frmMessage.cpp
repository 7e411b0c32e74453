#include "viewer/frmMessage.h"

#include "common/Controles.h"
#include "common/Dialogues.h"
#include "common/Fenetres.h"
#include "common/Impression.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/OuvrirTexte.h"
#include "common/Saisie.h"
#include "common/TexteSaisi.h"
#include "engine/Settings.h"
#include "reminders/Rappels.h"
#include "reminders/SpinDureeRappel.h"
#include "reminders/frmListeRappel.h"
#include "viewer/PageImpression.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTextDocumentFragment>
#include <QVBoxLayout>

namespace pv {

namespace {

QLineEdit* champLecture(QWidget* parent, const char* nom)
{
    auto* c = gCreerControle<QLineEdit>(parent, nom);
    c->setReadOnly(true);
    return c;
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

    cboUtilisateur = gCreerControle<QComboBox>(this, "cboUtilisateur");
    fraExpediteur = gCreerControle<QGroupBox>(this, "fraExpediteur", QStringLiteral("Expéditeur"));
    txtUtilisateur = champLecture(fraExpediteur, "txtUtilisateur");
    lblDateHeure = gCreerControle<QLabel>(fraExpediteur, "lblDateHeure", QStringLiteral("Date / Heure"));
    txtDateHeure = champLecture(fraExpediteur, "txtDateHeure");
    // The whole "yyyy-mm-dd hh:mm:ss" stays readable.
    txtDateHeure->setMinimumWidth(txtDateHeure->fontMetrics().horizontalAdvance(QStringLiteral("0000-00-00 00:00:00"))
                                  + 24);
    lblExpediteurDouteux = gCreerControle<QLabel>(fraExpediteur, "lblExpediteurDouteux");
    // Its text comes from the message section, filled with the peer.
    lblExpediteurDouteux->setProperty("sansLibelle", true);
    lblExpediteurDouteux->setWordWrap(true);
    lblExpediteurDouteux->hide();
    fraMessage = gCreerControle<QGroupBox>(this, "fraMessage", QStringLiteral("Message"));
    txtMessage = gCreerControle<QPlainTextEdit>(fraMessage, "txtMessage");
    txtMessage->setReadOnly(true);
    gAppliquerPolice(txtMessage);
    mnuOuvrirTexteSelectionne
        = gCreerControle<QAction>(this, "OuvrirTexteSelectionne", QStringLiteral("Ouvrir le texte sélectionné"));
    connect(mnuOuvrirTexteSelectionne, &QAction::triggered, this, [this] { gOuvrirTexteSelectionne(txtMessage); });
    txtMessage->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(txtMessage, &QWidget::customContextMenuRequested, this, &frmMessage::txtMessage_MenuContextuel);

    cmdRepondre = gCreerControle<QPushButton>(this, "cmdRepondre", QStringLiteral("&Répondre"));
    chkAjouterMessageReponse = gCreerControle<QCheckBox>(this, "chkAjouterMessageReponse", QStringLiteral("Ajouter"));
    cmdRechercher = gCreerControle<QPushButton>(this, "cmdRechercher", QStringLiteral("Rechercher"));
    cmdImprimer = gCreerControle<QPushButton>(this, "cmdImprimer", QStringLiteral("&Imprimer..."));
    cmdSupprimer = gCreerControle<QPushButton>(this, "cmdSupprimer", QStringLiteral("&Supprimer"));
    cmdFermer = gCreerControle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));
    cmdFermer->setDefault(true);
    connect(cmdFermer, &QPushButton::clicked, this, &frmMessage::cmdFermer_Click);
    connect(cmdRepondre, &QPushButton::clicked, this, &frmMessage::cmdRepondre_Click);
    connect(cmdSupprimer, &QPushButton::clicked, this, &frmMessage::cmdSupprimer_Click);
    connect(cmdImprimer, &QPushButton::clicked, this, &frmMessage::cmdImprimer_Click);

    fraRechercherTexte = gCreerControle<QGroupBox>(this, "fraRechercherTexte", QStringLiteral("Rechercher"));
    txtTexteRecherche = gCreerControle<QLineEdit>(fraRechercherTexte, "txtTexteRecherche");
    gSelectionnerAuFocus(txtTexteRecherche);
    for (int i = 0; i < 2; ++i) {
        optDepartRecherche[i] = gCreerControle<QRadioButton>(fraRechercherTexte, "optDepartRecherche");
        optDepartRecherche[i]->setProperty("index", i);
    }
    cmdRechercherTexte
        = gCreerControle<QPushButton>(fraRechercherTexte, "cmdRechercherTexte", QStringLiteral("&Suivant"));
    cmdAnnulerRechercheTexte
        = gCreerControle<QPushButton>(fraRechercherTexte, "cmdAnnulerRechercheTexte", QStringLiteral("Annuler"));
    optDepartRecherche[0]->setChecked(true);
    fraRechercherTexte->hide();
    connect(cmdRechercher, &QPushButton::clicked, this, [this] {
        fraRechercherTexte->show();
        txtTexteRecherche->setFocus();
    });
    // Another text is a new search, from where the start option says.
    connect(txtTexteRecherche, &QLineEdit::textEdited, this, &frmMessage::mRecommencerRecherche);
    connect(cmdAnnulerRechercheTexte, &QPushButton::clicked, fraRechercherTexte, &QWidget::hide);
    connect(cmdRechercherTexte, &QPushButton::clicked, this, &frmMessage::cmdRechercherTexte_Click);
    for (int i = 0; i < 2; ++i) {
        connect(optDepartRecherche[i], &QRadioButton::clicked, this, [this, i] { optDepartRecherche_Click(i); });
    }

    chkRepeterRappel = gCreerControle<QCheckBox>(this, "chkRepeterRappel", QStringLiteral("Répéter dans"));
    spnDureeRepetitionRappel = gCreerControle<SpinDureeRappel>(this, "spnDureeRepetitionRappel");
    txtDureeRepetitionRappel = spnDureeRepetitionRappel->txtDureeRepetitionRappel();
    cboTempsRepetitionRappel = gCreerControle<QComboBox>(this, "cboTempsRepetitionRappel");
    mAfficherControlesRappel(false);
    connect(chkRepeterRappel, &QCheckBox::toggled, this, &frmMessage::chkRepeterRappel_Click);

    auto* expediteur = new QGridLayout(fraExpediteur);
    expediteur->addWidget(txtUtilisateur, 0, 0);
    expediteur->addWidget(lblDateHeure, 0, 1);
    expediteur->addWidget(txtDateHeure, 0, 2);
    expediteur->addWidget(lblExpediteurDouteux, 1, 0, 1, 3);
    expediteur->setColumnStretch(0, 1);
    (new QVBoxLayout(fraMessage))->addWidget(txtMessage);
    auto* recherche = new QGridLayout(fraRechercherTexte);
    recherche->addWidget(txtTexteRecherche, 0, 0, 1, 2);
    recherche->addWidget(optDepartRecherche[0], 1, 0);
    recherche->addWidget(optDepartRecherche[1], 1, 1);
    recherche->addWidget(cmdRechercherTexte, 0, 2);
    recherche->addWidget(cmdAnnulerRechercheTexte, 1, 2);
    // Above the buttons: the reply's option, or a reminder's repetition (a window never shows both), so that
    // the row of buttons keeps room for their captions in every language.
    auto* options = new QHBoxLayout;
    options->addWidget(chkAjouterMessageReponse);
    options->addWidget(chkRepeterRappel);
    options->addWidget(spnDureeRepetitionRappel);
    options->addWidget(cboTempsRepetitionRappel);
    options->addStretch();
    auto* boutons = new QHBoxLayout;
    for (QWidget* w : {static_cast<QWidget*>(cmdRepondre),
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
    layout->addLayout(options);
    layout->addLayout(boutons);

    // No smaller than the layout needs: the captions of the language file decide.
    resize(600, 380);
    gAfficherLibelle(gParametres().fichierLangue, this);
    connect(cboUtilisateur, &QComboBox::currentIndexChanged, this, &frmMessage::mChoisirLigne);
}

bool frmMessage::mCharger()
{
    switch (mintTypeFenetre) {
    case TypeFenetre::NouveauMessage:
        if (!nouveauxMessages.isEmpty()) {
            m_historique = std::exchange(nouveauxMessages, {});
            mChargerListeUtilisateurDateHeure();
        } else if (gParametres().affichageMessage == AffichageMessage::UneSeuleFenetre
                   && mObtenirHistoriqueMessage(clePremierMessage) > 0) {
            mChargerListeUtilisateurDateHeure();
        } else {
            cboUtilisateur->hide();
            m_cleAffichee = clePremierMessage;
            mAfficherMessage();
        }
        cmdSupprimer->hide();
        optDepartRecherche[0]->hide();
        optDepartRecherche[1]->hide();
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
            gTexteMessage(envoye ? "TitreFenetreHistoriqueMessageEnvoye" : "TitreFenetreHistoriqueMessageRecu"));
        if (envoye) {
            fraExpediteur->setTitle(gTexteMessage("CadreDestinataire"));
            chkAjouterMessageReponse->hide();
            // A resend carries the text as it went out.
            chkAjouterMessageReponse->setChecked(true);
            cmdRepondre->setText(gTexteMessage("BoutonReenvoyer"));
        }
        break;
    }
    case TypeFenetre::Rappel:
        setWindowTitle(gTexteMessage("TitreFenetreRappel"));
        for (QWidget* w : {static_cast<QWidget*>(cboUtilisateur),
                           static_cast<QWidget*>(cmdSupprimer),
                           static_cast<QWidget*>(cmdRechercher),
                           static_cast<QWidget*>(cmdRepondre),
                           static_cast<QWidget*>(fraExpediteur),
                           static_cast<QWidget*>(chkAjouterMessageReponse)}) {
            w->hide();
        }
        // Only a once-reminder offers to come back; the others always move on to their next time.
        if (gTypeRappel(mvarRappel.value(0)) == TypeRappel::UneSeuleFois) {
            spnDureeRepetitionRappel->setTexte(QStringLiteral("15"));
            cboTempsRepetitionRappel->clear();
            cboTempsRepetitionRappel->addItems(
                {gTexteMessage("RepetitionRappelMinute"), gTexteMessage("RepetitionRappelHeure")});
            cboTempsRepetitionRappel->setCurrentIndex(0);
            cmdFermer->setText(gTexteMessage("BoutonOK"));
            chkRepeterRappel_Click();
            mAfficherControlesRappel(true);
        }
        mAfficherMessage();
        break;
    }
    m_charge = true;
    gRestaurerPositionFenetre(this, gClePositionFenetreMessage(mintTypeFenetre));
    return true;
}

int frmMessage::mObtenirHistoriqueMessage(const QString& pstrDateHeurePremierMessage)
{
    m_historique = gObtenirHistoriqueMessage(mintTypeFenetre, pstrDateHeurePremierMessage);
    return int(m_historique.size());
}

void frmMessage::mChargerListeUtilisateurDateHeure()
{
    const QSignalBlocker bloque(cboUtilisateur);
    cboUtilisateur->clear();
    cboUtilisateur->addItems(gLignesChoix(m_historique));
    cboUtilisateur->setCurrentIndex(0);
    mChoisirLigne(0);
}

void frmMessage::mAjouterMessages(const QList<EntreeHistorique>& entrees)
{
    // Only the new lines go in: a backlog comes in batches, and the list must not be built again for each.
    m_historique.append(entrees);
    const QSignalBlocker bloque(cboUtilisateur);
    cboUtilisateur->insertItems(0, gLignesChoix(entrees));
    cboUtilisateur->show();
    cboUtilisateur->setCurrentIndex(0);
    mChoisirLigne(0);
}

void frmMessage::mChoisirLigne(int ligne)
{
    const int index = gIndexEntree(cboUtilisateur->count(), ligne);
    if (index < 0 || index >= m_historique.size()) {
        return;
    }
    const EntreeHistorique& e = m_historique.at(index);
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
    txtMessage->setPlainText(gEnLF(mstrMessage));
    mAfficherExpediteurDouteux();
}

void frmMessage::mVerifierExpediteur()
{
    if (adresseExpediteur.isEmpty()) {
        return;
    }
    const QString cle = clePremierMessage;
    gVerifierExpediteurAsync(
        this,
        mstrExpediteur,
        adresseExpediteur,
        [this, cle](VerdictExpediteur verdict) {
            if (verdict == VerdictExpediteur::AutreAdresse) {
                m_cleDouteuse = cle;
                mAfficherExpediteurDouteux();
            }
            Q_EMIT expediteurVerifie(verdict);
        },
        resolveurs);
}

void frmMessage::mAfficherExpediteurDouteux()
{
    // Only beside the message that was checked, not the older ones of a shared window.
    const bool douteux = !m_cleDouteuse.isNull() && m_cleAffichee == m_cleDouteuse;
    if (douteux) {
        lblExpediteurDouteux->setText(gTexteMessage("ExpediteurNonVerifie", {adresseExpediteur}));
    }
    lblExpediteurDouteux->setVisible(douteux);
}

void frmMessage::mAfficherControlesRappel(bool visible)
{
    chkRepeterRappel->setVisible(visible);
    spnDureeRepetitionRappel->setVisible(visible);
    cboTempsRepetitionRappel->setVisible(visible);
}

void frmMessage::chkRepeterRappel_Click()
{
    const bool repeter = chkRepeterRappel->isChecked();
    spnDureeRepetitionRappel->setEnabled(repeter);
    cboTempsRepetitionRappel->setEnabled(repeter);
}

void frmMessage::cmdFermer_Click()
{
    // Only this button plans a fired reminder again; any other way of closing ends it.
    if (mintTypeFenetre == TypeFenetre::Rappel) {
        if (gTypeRappel(mvarRappel.value(0)) != TypeRappel::UneSeuleFois) {
            frmListeRappel::mReceduler(mstrCleRappel, mvarRappel, 0, 0);
        } else if (chkRepeterRappel->isChecked()) {
            const int duree = qMin(gValeurNombreInitial(spnDureeRepetitionRappel->texte()), 32767);
            frmListeRappel::mReceduler(mstrCleRappel, mvarRappel, duree, cboTempsRepetitionRappel->currentIndex());
        }
    }
    close();
}

void frmMessage::cmdRepondre_Click()
{
    if (mRepondre) {
        mRepondre(mstrExpediteur,
                  chkAjouterMessageReponse->isChecked() ? mstrMessage : QString(),
                  mintTypeFenetre != TypeFenetre::HistoriqueEnvoye);
    }
    // Browsing several messages, the window stays for the next one.
    if (cboUtilisateur->isHidden() || cboUtilisateur->count() <= 1) {
        close();
    }
}

void frmMessage::mRecommencerRecherche()
{
    optDepartRecherche_Click(optDepartRecherche[1]->isChecked() ? 1 : 0);
}

void frmMessage::optDepartRecherche_Click(int index)
{
    mintIndexMessageRecherche = index == 1 ? int(m_historique.size()) - 1
                                           : gIndexEntree(cboUtilisateur->count(), cboUtilisateur->currentIndex());
    mintPosTexteRecherche = 1;
}

void frmMessage::cmdRechercherTexte_Click()
{
    const QString texte = txtTexteRecherche->text();
    const bool unSeul = mintTypeFenetre == TypeFenetre::NouveauMessage;
    const auto trouve
        = unSeul ? gRechercherTexte({EntreeHistorique {{}, {}, mstrMessage}}, texte, 0, mintPosTexteRecherche)
                 : gRechercherTexte(m_historique, texte, mintIndexMessageRecherche, mintPosTexteRecherche);
    if (!trouve) {
        // The next press starts over rather than finding nothing forever.
        mintPosTexteRecherche = 1;
        if (!unSeul) {
            mRecommencerRecherche();
        }
        gMessageBox(gParametres().fichierLangue, QStringLiteral("FinRechercheTexte"), MsgStyle::Information);
        return;
    }
    if (!unSeul) {
        // Choosing the line shows the entry and resets the position.
        const int ligne = int(m_historique.size()) - trouve->index - 1;
        if (cboUtilisateur->currentIndex() != ligne) {
            cboUtilisateur->setCurrentIndex(ligne);
        } else {
            mChoisirLigne(ligne);
        }
    }
    QTextCursor curseur = txtMessage->textCursor();
    curseur.setPosition(trouve->position - 1);
    curseur.setPosition(trouve->position - 1 + int(texte.size()), QTextCursor::KeepAnchor);
    txtMessage->setTextCursor(curseur);
    mintPosTexteRecherche = trouve->position + 1;
}

void frmMessage::cmdSupprimer_Click()
{
    if (gMessageBox(gParametres().fichierLangue, QStringLiteral("SupprimerMessage"), MsgStyle::Question)
        != MsgResult::Yes) {
        return;
    }
    const int nbLignes = cboUtilisateur->count();
    const int ligne = cboUtilisateur->currentIndex();
    const int index = gIndexEntree(nbLignes, ligne);
    if (index < 0 || index >= m_historique.size()) {
        return;
    }
    const bool envoye = gHistoriqueEnvoye(mintTypeFenetre);
    try {
        gSupprimerEntreeHistorique(envoye, m_historique.at(index).cle);
    } catch (const std::exception& e) {
        gSignalerEchecEcriture(gFichierDonnees(), QString::fromLocal8Bit(e.what()));
        return;
    }
    if (nbLignes == 1) {
        close();
        return;
    }
    mObtenirHistoriqueMessage(QString());
    mChargerListeUtilisateurDateHeure();
    const int nouvelle = std::min(ligne, cboUtilisateur->count() - 1);
    cboUtilisateur->setCurrentIndex(nouvelle);
    cboUtilisateur->setFocus();
}

void frmMessage::cmdImprimer_Click()
{
    const QString selection = txtMessage->textCursor().selection().toPlainText();
    QPrinter imprimante(QPrinter::HighResolution);
    if (!gDialogueImpression(this, imprimante, !selection.isEmpty())) {
        return;
    }
    const QFont police = gPoliceImpression();
    PageImpression page;
    page.type = mintTypeFenetre;
    page.legendeExpediteur = fraExpediteur->title();
    page.expediteur = txtUtilisateur->text();
    page.legendeDateHeure = lblDateHeure->text();
    page.dateHeure = txtDateHeure->text();
    page.titreRappel = gTexteMessage("TitreFenetreRappel");
    page.message = !selection.isEmpty() && imprimante.printRange() == QPrinter::Selection ? selection
                                                                                          : txtMessage->toPlainText();
    page.longueurRegle = gLongueurRegle(imprimante, police);
    if (!gImprimerTexte(imprimante, gTexteImpression(page), police)) {
        const QString destination
            = imprimante.outputFileName().isEmpty() ? imprimante.printerName() : imprimante.outputFileName();
        gMessageBox(
            gParametres().fichierLangue, QStringLiteral("ImpressionImpossible"), MsgStyle::Exclamation, {destination});
    }
}

void frmMessage::txtMessage_MenuContextuel(const QPoint& position)
{
    QMenu* menu = txtMessage->createStandardContextMenu(position);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addSeparator();
    mnuOuvrirTexteSelectionne->setEnabled(txtMessage->textCursor().hasSelection());
    menu->addAction(mnuOuvrirTexteSelectionne);
    menu->popup(txtMessage->viewport()->mapToGlobal(position));
}

void frmMessage::keyPressEvent(QKeyEvent* event)
{
    const bool entree = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (entree && fraRechercherTexte->isVisible() && cmdRechercherTexte->isEnabled()) {
        cmdRechercherTexte->click();
        return;
    }
    QWidget::keyPressEvent(event);
}

void frmMessage::closeEvent(QCloseEvent* event)
{
    if (m_charge) {
        gEnregistrerPositionFenetre(this, gClePositionFenetreMessage(mintTypeFenetre));
    }
    event->accept();
}

void frmMessage::mActualiserHistoriques(TypeFenetre type)
{
    for (QWidget* fenetre : QApplication::topLevelWidgets()) {
        auto* f = qobject_cast<frmMessage*>(fenetre);
        if (f && f->typeFenetre() == type && f->isVisible()) {
            f->mObtenirHistoriqueMessage(QString());
            f->mChargerListeUtilisateurDateHeure();
        }
    }
}

} // namespace pv
