#include "engine/frmPilvanor.h"

#include "addressbook/frmGroupe.h"
#include "addressbook/frmMessagePredefini.h"
#include "addressbook/frmUtilisateur.h"
#include "common/CurseurAttente.h"
#include "common/DataFile.h"
#include "common/ErrorReport.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/OuvrirTexte.h"
#include "common/Paths.h"
#include "common/TexteSaisi.h"
#include "engine/AvisMessages.h"
#include "engine/ChoixDestinataire.h"
#include "engine/Envoi.h"
#include "engine/GlobalHotKey.h"
#include "engine/LanceurService.h"
#include "engine/Migration.h"
#include "engine/Reponse.h"
#include "engine/Settings.h"
#include "engine/StartUp.h"
#include "engine/frmEnvoiMessageGroupe.h"
#include "reminders/frmListeRappel.h"
#include "settings/frmAProposDe.h"
#include "settings/frmPreference.h"
#include "viewer/frmMessage.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QTimer>

namespace pv {

namespace {

const QString ClePosition = QStringLiteral("PositionTailleFenetrePrincipale");

} // namespace

frmPilvanor::frmPilvanor(QWidget* parent)
    : QMainWindow(parent)
    , m_hotKey(new GlobalHotKey(this))
{
    construire(this);
    m_avis = new AvisMessages(mnuSysTray, this);
    connect(m_avis, &AvisMessages::restaurerDemande, this, &frmPilvanor::restaurer);
    connect(m_avis, &AvisMessages::fenetreOuverte, this, &frmPilvanor::relierRepondre);
    relierControles();
    connect(m_hotKey, &GlobalHotKey::activated, this, &frmPilvanor::restaurer);
    relierBureau();
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this] { m_quitter = true; });
}

frmPilvanor::~frmPilvanor()
{
    decharger();
    // The engine goes with the window and will not say that it has finished: the cursor guard goes too.
    delete m_fenetreGroupe.data();
}

void frmPilvanor::relierControles()
{
    // A long message (why this computer cannot receive, a failed send) is cut at the window's edge: the whole
    // text is its tool tip, and a click shows it in a box.
    connect(staBarreStatut, &QStatusBar::messageChanged, staBarreStatut, &QWidget::setToolTip);
    staBarreStatut->installEventFilter(this);
    txtMessage->installEventFilter(this);
    m_destinataire = new ChoixDestinataire(optDestinataire, cboDestinataire, lblGroupeRapide, this);
    // Enter sends once there is something to send; before that it moves on to the text.
    connect(m_destinataire, &ChoixDestinataire::entree, this, [this] {
        if (!mEnvoyerMessage() && !m_envoiEnCours) {
            txtMessage->setFocus();
        }
    });
    connect(cboDestinataire, &QComboBox::editTextChanged, this, &frmPilvanor::mettreAJourEnvoyer);
    connect(cboMessagePredefini, &QComboBox::activated, this, &frmPilvanor::choisirMessagePredefini);
    connect(txtMessage, &QPlainTextEdit::textChanged, this, &frmPilvanor::mettreAJourEnvoyer);
    connect(tmrCaptureMessage, &QTimer::timeout, this, &frmPilvanor::mCapturerMessage);
    connect(bouton.OuvrirTexteSelectionne, &QAction::triggered, this, [this] { gOuvrirTexteSelectionne(txtMessage); });

    connect(mnuFicQuitter, &QAction::triggered, this, &frmPilvanor::quitter);
    connect(mnuSysQuitter, &QAction::triggered, this, &frmPilvanor::quitter);
    connect(mnuSysRestaurer, &QAction::triggered, this, &frmPilvanor::restaurer);
    connect(mnuMesEnvoyer, &QAction::triggered, this, &frmPilvanor::mEnvoyerMessage);
    connect(mnuMesEffacer, &QAction::triggered, this, [this] { txtMessage->clear(); });
    connect(mnuMesInsererSignature, &QAction::triggered, this, &frmPilvanor::insererSignature);
    connect(mnuHisSupprimerHistoriqueMessageRecu, &QAction::triggered, this, [this] { supprimerHistorique(false); });
    connect(mnuHisSupprimerHistoriqueMessageEnvoye, &QAction::triggered, this, [this] { supprimerHistorique(true); });

    connect(mnuHisHistoriqueMessageRecu, &QAction::triggered, this, [this] { ouvrirHistorique(false); });
    connect(mnuHisHistoriqueMessageEnvoye, &QAction::triggered, this, [this] { ouvrirHistorique(true); });
    connect(mnuFicListeRappel, &QAction::triggered, this, [] { frmListeRappel::mAfficher(); });
    connect(mnuFicPreference, &QAction::triggered, this, &frmPilvanor::ouvrirPreferences);
    connect(mnuAidAProposDe, &QAction::triggered, this, &frmPilvanor::ouvrirAProposDe);
    connect(mnuFicUtilisateur, &QAction::triggered, this, [this] { ouvrirEditeur<frmUtilisateur>(m_frmUtilisateur); });
    connect(mnuFicGroupe, &QAction::triggered, this, [this] { ouvrirEditeur<frmGroupe>(m_frmGroupe); });
    connect(mnuMesMessagePredefini, &QAction::triggered, this, [this] {
        ouvrirEditeur<frmMessagePredefini>(m_frmMessagePredefini);
    });
    connect(mnuAidPilvanor, &QAction::triggered, this, [] { gOuvrirAide(); });
    // Tray entries that open a window put the main window in front first.
    const std::pair<QAction*, QAction*> entreesSysTray[]
        = {{mnuSysHistoriqueMessageRecu, mnuHisHistoriqueMessageRecu},
           {mnuSysHistoriqueMessageEnvoye, mnuHisHistoriqueMessageEnvoye},
           {mnuSysListeRappel, mnuFicListeRappel},
           {mnuSysPreference, mnuFicPreference},
           {mnuSysAProposDe, mnuAidAProposDe},
           {mnuSysAidePilvanor, mnuAidPilvanor}};
    for (const auto& [entree, menu] : entreesSysTray) {
        connect(entree, &QAction::triggered, this, [this, menu] {
            restaurer();
            menu->trigger();
        });
    }
    mettreAJourEnvoyer();
}

bool frmPilvanor::hotKeyRegistered() const
{
    return m_hotKey->isRegistered();
}

void frmPilvanor::charger()
{
    m_charge = true;
    gChargerParametres();
    Parametres& p = gParametres();
    gChargerTraductionsQt(p.fichierLangue);
    tmrCaptureMessage->setInterval(qMax(1, p.intervalleCaptureMessage));
    tmrCaptureMessage->start();
    enregistrerRaccourci(parseHotKeyText(p.touchesAccesRapide));

    const QString dossierProgramme = gDossierProgramme();
    gMettreDeCoteAnciensHistoriques(dossierProgramme);
    QList<ProblemeDemarrage> problemes;
    gDefinirFichierDonnees(gPreparerDossierDonnees(dossierProgramme, problemes));
    try {
        gTransfererRegistreFichier();
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("frmPilvanor.mTransfereRegistreFichier"), e);
    }
    m_capture = std::make_unique<Capture>(PopupSpool::defaultFolder());

    gAppliquerPolice(txtMessage);
    gChargerUtilisateurGroupe();
    gChargerMessagePredefini();
    optDestinataire[0]->setChecked(true);
    m_destinataire->remplir();
    remplirMessagesPredefinis();
    gAfficherLibelle(p.fichierLangue, this);

    chkAjouterMessagePredefini->setChecked(p.ajouterMessagePredefini);
    chkEncrypterMessage->setChecked(p.encrypterMessage);
    gRestaurerPositionFenetre(this, ClePosition);

    // Said once, where the user looks, without stopping the start.
    if (!problemes.isEmpty()) {
        staBarreStatut->showMessage(gTexteProblemes(p.fichierLangue, problemes));
    }

    auto* service = new LanceurService(this);
    connect(service, &LanceurService::receptionImpossible, this, [this](const QString& raison) {
        staBarreStatut->showMessage(gTexteMessage(QStringLiteral("ReceptionImpossible"), {raison}));
    });
    service->demarrer();

    if (p.minimiserSysTray) {
        m_avis->ajouterPVSysTray();
    }
    if (p.demarrerMinimise) {
        if (m_avis->picSysTray() && QSystemTrayIcon::isSystemTrayAvailable()) {
            setWindowState(Qt::WindowMinimized);
        } else {
            reduireUneFoisAffichee();
        }
    } else {
        setWindowState(Qt::WindowNoState);
        show();
    }
}

template<typename Editeur>
void frmPilvanor::ouvrirEditeur(QPointer<Editeur>& fenetre)
{
    if (!fenetre) {
        fenetre = new Editeur(this);
        fenetre->setAttribute(Qt::WA_DeleteOnClose);
        // Sending reads these lists: they follow every edit at once.
        connect(fenetre, &Editeur::donneesModifiees, this, [this] {
            m_destinataire->actualiser();
            remplirMessagesPredefinis();
        });
    }
    devant(fenetre);
}

bool frmPilvanor::eventFilter(QObject* objet, QEvent* event)
{
    if (objet == staBarreStatut && event->type() == QEvent::MouseButtonRelease
        && !staBarreStatut->currentMessage().isEmpty()) {
        showMessageBox(staBarreStatut->currentMessage(), MsgStyle::Information);
        return true;
    }
    if (objet == txtMessage && event->type() == QEvent::KeyPress) {
        const auto* touche = static_cast<QKeyEvent*>(event);
        if ((touche->key() == Qt::Key_Return || touche->key() == Qt::Key_Enter)
            && (touche->modifiers() & ~Qt::KeypadModifier) == Qt::ControlModifier) {
            mEnvoyerMessage();
            return true;
        }
    }
    return QMainWindow::eventFilter(objet, event);
}

void frmPilvanor::mettreAJourEnvoyer()
{
    const bool possible = !m_envoiEnCours && !cboDestinataire->currentText().trimmed().isEmpty()
                          && !txtMessage->toPlainText().trimmed().isEmpty();
    mnuMesEnvoyer->setEnabled(possible);
}

void frmPilvanor::utiliserEnvoi(EnvoiMessage* envoi)
{
    if (m_envoi == envoi) {
        return;
    }
    delete m_envoi;
    m_envoi = envoi;
    m_envoi->setParent(this);
    // Sent from the engine's thread: queued, in the order the stations were listed.
    connect(m_envoi, &EnvoiMessage::debutGroupe, this, &frmPilvanor::debutGroupe);
    connect(m_envoi, &EnvoiMessage::stationTerminee, this, &frmPilvanor::stationTerminee);
    connect(m_envoi, &EnvoiMessage::finGroupe, this, &frmPilvanor::finGroupe);
    connect(m_envoi, &EnvoiMessage::termine, this, &frmPilvanor::envoiTermine);
    connect(m_envoi, &EnvoiMessage::historiqueEnvoyeModifie, this, [] {
        frmMessage::mActualiserHistoriques(TypeFenetre::HistoriqueEnvoye);
    });
}

frmEnvoiMessageGroupe* frmPilvanor::fenetreEnvoiGroupe() const
{
    return m_fenetreGroupe;
}

EnvoiMessage* frmPilvanor::envoi()
{
    if (!m_envoi) {
        utiliserEnvoi(new EnvoiMessage(this));
    }
    return m_envoi;
}

bool frmPilvanor::mEnvoyerMessage()
{
    if (!mnuMesEnvoyer->isEnabled()) {
        return false;
    }
    DemandeEnvoi demande;
    demande.texte = gEnCRLF(txtMessage->toPlainText());
    demande.crypter = chkEncrypterMessage->isChecked();
    demande.destinataire = m_destinataire->destinataire();
    m_envoiGroupe = false;
    if (!envoi()->mEnvoyerMessage(demande)) {
        return false;
    }
    m_envoiEnCours.emplace();
    mettreAJourEnvoyer();
    staBarreStatut->clearMessage();
    return true;
}

void frmPilvanor::debutGroupe(const QString& ligne)
{
    m_envoiGroupe = true;
    if (!m_fenetreGroupe) {
        // A window of its own, not the main window's: it stays up when the main window minimises after the send.
        m_fenetreGroupe = new frmEnvoiMessageGroupe;
    }
    m_fenetreGroupe->mDebuterEnvoi();
    m_fenetreGroupe->mAjouterUtilisateurListe(QString(), ligne);
}

void frmPilvanor::stationTerminee(const ResultatStation& resultat)
{
    if (m_envoiGroupe) {
        if (m_fenetreGroupe) {
            m_fenetreGroupe->mAjouterUtilisateurListe(resultat.affichage.isEmpty() ? resultat.station
                                                                                   : resultat.affichage,
                                                      resultat.texte,
                                                      resultat.echec ? 255 : -1);
        }
    } else if (resultat.echec) {
        showMessageBox(resultat.texte, MsgStyle::Exclamation);
    } else {
        // The text carries the time of the send.
        staBarreStatut->showMessage(resultat.texte);
    }
}

void frmPilvanor::finGroupe(const QString& ligne)
{
    if (m_fenetreGroupe) {
        m_fenetreGroupe->mAjouterUtilisateurListe(QString(), ligne);
        m_fenetreGroupe->mTerminerEnvoi();
    }
}

void frmPilvanor::envoiTermine(bool succes)
{
    if (!m_envoiEnCours) {
        return;
    }
    m_envoiEnCours.reset();
    if (succes) {
        const Parametres& p = gParametres();
        if (p.effacerMessageApresEnvoi) {
            txtMessage->clear();
        }
        if (p.minimiserApresEnvoi) {
            showMinimized();
        }
    }
    mettreAJourEnvoyer();
}

void frmPilvanor::remplirMessagesPredefinis()
{
    cboMessagePredefini->clear();
    for (const MessagePredefini& m : gMessagesPredefinis()) {
        // One line in the list; the whole text goes into the message.
        QString ligne = m.texte;
        ligne.replace(QChar(0x00B6), QLatin1Char(' '));
        cboMessagePredefini->addItem(ligne, m.cle);
    }
    cboMessagePredefini->setCurrentIndex(-1);
}

void frmPilvanor::choisirMessagePredefini(int index)
{
    if (index < 0 || index >= gMessagesPredefinis().size()) {
        return;
    }
    const QString texte = gEnLF(gDecoderTexte(gMessagesPredefinis()[index].texte));
    if (chkAjouterMessagePredefini->isChecked()) {
        txtMessage->moveCursor(QTextCursor::End);
        txtMessage->insertPlainText(texte);
    } else {
        txtMessage->setPlainText(texte);
    }
    txtMessage->setFocus();
}

void frmPilvanor::insererSignature()
{
    QString signature = gParametres().signature;
    txtMessage->insertPlainText(QLatin1Char('\n') + gEnLF(signature));
}

void frmPilvanor::ouvrirHistorique(bool envoye)
{
    auto* fenetre = new frmMessage(envoye ? TypeFenetre::HistoriqueEnvoye : TypeFenetre::HistoriqueRecu);
    const bool charge = [fenetre] {
        const CurseurAttente attente;
        return fenetre->mCharger();
    }();
    if (!charge) {
        // An empty history was said in a box; there is nothing to show.
        delete fenetre;
        return;
    }
    relierRepondre(fenetre);
    devant(fenetre);
}

void frmPilvanor::relierRepondre(frmMessage* fenetre)
{
    fenetre->mRepondre = [moi = QPointer<frmPilvanor>(this)](const QString& station, const QString& texte, bool p) {
        if (moi) {
            moi->mRepondre(station, texte, p);
            // The reply is written here: it must not stay in the tray.
            moi->restaurer();
        }
    };
}

void frmPilvanor::mRepondre(const QString& pstrStation,
                            const QString& pstrMessageReponse,
                            bool pblnAjouterCaractereDevantReponse)
{
    const Reponse r = gPreparerReponse(pstrStation,
                                       pstrMessageReponse,
                                       pblnAjouterCaractereDevantReponse,
                                       gParametres().caractereDevantReponseExpediteur);
    if (r.echecEcriture) {
        gSignalerEchecEcriture(gFichierDonnees(), *r.echecEcriture);
    }
    txtMessage->setPlainText(r.texte);
    m_destinataire->choisirStation(r.station);
}

void frmPilvanor::supprimerHistorique(bool envoye)
{
    const QString cle = envoye ? QStringLiteral("SupprimerHistoriqueMessageEnvoye")
                               : QStringLiteral("SupprimerHistoriqueMessageRecu");
    if (gMessageBox(gParametres().fichierLangue, cle, MsgStyle::Question) != MsgResult::Yes) {
        return;
    }
    const CurseurAttente attente;
    try {
        gSupprimerHistorique(envoye);
    } catch (const std::exception& e) {
        gSignalerEchecEcriture(gFichierDonnees(), QString::fromLocal8Bit(e.what()));
    }
}

void frmPilvanor::mCapturerMessage()
{
    if (!m_capture) {
        return;
    }
    const ResultatCapture r = m_capture->mCapturerMessage();
    for (const RappelDeclenche& rappel : r.rappels) {
        m_avis->afficherRappel(rappel);
    }
    if (r.nbNonReconnus != m_nbNonReconnusDits) {
        // Never captured, so never shown: the user must hear of them and of what brings them in.
        m_nbNonReconnusDits = r.nbNonReconnus;
        if (r.nbNonReconnus > 0) {
            staBarreStatut->showMessage(gTexteMessage(QStringLiteral("MessagesTitreInconnu"),
                                                      {QString::number(r.nbNonReconnus), r.titreNonReconnu}));
        }
    }
    if (r.message || !r.lot.isEmpty()) {
        frmMessage::mActualiserHistoriques(TypeFenetre::HistoriqueRecu);
    }
    if (r.message) {
        m_avis->mNotifierMessage(*r.message);
    }
    m_avis->mNotifierLot(r.lot);
}

void frmPilvanor::devant(QWidget* fenetre)
{
    fenetre->show();
    fenetre->raise();
    fenetre->activateWindow();
}

void frmPilvanor::ouvrirPreferences()
{
    if (m_preferences) {
        devant(m_preferences);
        return;
    }
    frmPreference fenetre(tmrCaptureMessage, m_hotKey, this);
    m_preferences = &fenetre;
    const bool enregistre = fenetre.exec() == QDialog::Accepted;
    m_preferences = nullptr;
    if (enregistre) {
        appliquerParametres();
    }
}

void frmPilvanor::ouvrirAProposDe()
{
    frmAProposDe fenetre(this);
    fenetre.exec();
}

void frmPilvanor::appliquerParametres()
{
    const QString ancienneLangue = gParametres().fichierLangue;
    gChargerParametres();
    const Parametres& p = gParametres();
    tmrCaptureMessage->setInterval(qMax(1, p.intervalleCaptureMessage));
    enregistrerRaccourci(parseHotKeyText(p.touchesAccesRapide));
    gAppliquerPolice(txtMessage);
    const bool changeLangue = p.fichierLangue != ancienneLangue;
    if (changeLangue) {
        gChargerTraductionsQt(p.fichierLangue);
        gAfficherLibelle(p.fichierLangue, this);
        m_destinataire->afficherGroupeRapide();
    }
    for (QWidget* fenetre : QApplication::topLevelWidgets()) {
        if (fenetre == this || !fenetre->isVisible()) {
            continue;
        }
        auto* message = qobject_cast<frmMessage*>(fenetre);
        if (message) {
            gAppliquerPolice(message->txtMessage);
        }
        if (changeLangue && fenetre->objectName().startsWith(QLatin1String("frm"))) {
            // A message window's caption tells what it shows; it is not the section's title.
            const QString titre = fenetre->windowTitle();
            gAfficherLibelle(p.fichierLangue, fenetre);
            if (message) {
                message->setWindowTitle(titre);
            }
        }
    }
    if (p.minimiserSysTray) {
        m_avis->ajouterPVSysTray();
    } else {
        m_avis->mSupprimerPVSysTray();
    }
}

void frmPilvanor::restaurer()
{
    // A Wayland client is never told that it was minimised, and has no way back from it but a new surface.
    if (!isActiveWindow() && QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        hide();
    }
    showNormal();
    raise();
    activateWindow();
}

void frmPilvanor::quitter()
{
    m_quitter = true;
    close();
}

void frmPilvanor::closeEvent(QCloseEvent* event)
{
    if (!m_quitter && gParametres().minimiserBoutonX) {
        event->ignore();
        showMinimized();
        return;
    }
    decharger();
    event->accept();
    QCoreApplication::quit();
}

void frmPilvanor::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && isMinimized() && gParametres().minimiserSysTray
        && m_avis->picSysTray() && QSystemTrayIcon::isSystemTrayAvailable()) {
        // Minimised to the tray: only the icon stays.
        QTimer::singleShot(0, this, &QWidget::hide);
    } else if (event->type() == QEvent::ActivationChange && isActiveWindow() && isVisible()) {
        txtMessage->setFocus();
    }
}

void frmPilvanor::decharger()
{
    if (!m_charge || m_decharge) {
        return;
    }
    m_decharge = true;
    // Every other window goes first, the last opened first.
    const QWidgetList autres = QApplication::topLevelWidgets();
    for (auto it = autres.crbegin(); it != autres.crend(); ++it) {
        if (*it != this && (*it)->isVisible()) {
            (*it)->close();
        }
    }
    if (!gFichierParametres().isEmpty()) {
        gEnregistrerParametre(QLatin1String(SectionGeneral),
                              QStringLiteral("AjouterMessagePredefini"),
                              gTexteIndicateur(chkAjouterMessagePredefini->isChecked()));
        gEnregistrerParametre(QLatin1String(SectionGeneral),
                              QStringLiteral("EncrypterMessage"),
                              gTexteIndicateur(chkEncrypterMessage->isChecked()));
        gEnregistrerPositionFenetre(this, ClePosition);
    }
    m_avis->mSupprimerPVSysTray();
    m_hotKey->unregisterHotKey();
}

} // namespace pv
