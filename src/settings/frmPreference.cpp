#include "settings/frmPreference.h"
#include "common/MessengerText.h"

#include "common/Controles.h"
#include "common/CurseurAttente.h"
#include "common/Dialogues.h"
#include "common/ErrorReport.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "common/Saisie.h"
#include "common/Son.h"
#include "common/TexteSaisi.h"
#include "engine/GlobalHotKey.h"
#include "engine/Settings.h"
#include "messenger/Spool.h"
#include "messenger/codec/NetbiosName.h"
#include "settings/AvisTouchesAccesRapide.h"
#include "settings/frmConfigurationCapture.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace pv {

namespace {

// Wide enough for seven digits.
int largeurNombre(const QWidget* boite)
{
    return boite->fontMetrics().horizontalAdvance(QStringLiteral("0000000")) + 12;
}

// A text box that depends on a check box: the window colour while it may be edited, the button face otherwise.
void activer(QWidget* controle, bool actif)
{
    controle->setEnabled(actif);
    if (auto* texte = qobject_cast<QLineEdit*>(controle)) {
        QPalette palette = texte->palette();
        const QColor fond = QApplication::palette().color(actif ? QPalette::Base : QPalette::Button);
        for (auto groupe : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            palette.setColor(groupe, QPalette::Base, fond);
        }
        texte->setPalette(palette);
    }
}

} // namespace

frmPreference::frmPreference(QTimer* tmrCaptureMessage, GlobalHotKey* raccourci, QWidget* parent)
    : QDialog(parent)
    , m_tmrCaptureMessage(tmrCaptureMessage)
    , m_raccourci(raccourci)
{
    setObjectName(QStringLiteral("frmPreference"));
    setWindowTitle(QStringLiteral("Préférences"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    tabPreference = gCreerControle<QTabWidget>(this, "tabPreference");
    tabPreference->addTab(pageGeneral(), QStringLiteral("Général"));
    tabPreference->addTab(pageMessages(), QStringLiteral("Messages"));
    tabPreference->addTab(pageSignature(), QStringLiteral("Envoi et signature"));

    cmdOK = gCreerControle<QPushButton>(this, "cmdOK", QStringLiteral("OK"));
    cmdAnnuler = gCreerControle<QPushButton>(this, "cmdAnnuler", QStringLiteral("Annuler"));
    cmdOK->setDefault(true);
    auto* boutons = new QHBoxLayout;
    boutons->addStretch();
    boutons->addWidget(cmdOK);
    boutons->addWidget(cmdAnnuler);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabPreference);
    layout->addLayout(boutons);

    connect(cmdOK, &QPushButton::clicked, this, [this] {
        mEnregistrerPreference();
        accept();
    });
    connect(cmdAnnuler, &QPushButton::clicked, this, &QDialog::reject);
    connect(cmdOuvrirFichierSon, &QPushButton::clicked, this, &frmPreference::cmdOuvrirFichierSon_Click);
    connect(cmdJouerSon, &QPushButton::clicked, this, [this] {
        if (jouerSon) {
            jouerSon(txtFichierSon->text());
        }
    });
    connect(cmdAfficherDialoguePolice, &QPushButton::clicked, this, &frmPreference::cmdAfficherDialoguePolice_Click);
    connect(cmdConfigurerCapture, &QPushButton::clicked, this, &frmPreference::cmdConfigurerCapture_Click);
    for (QCheckBox* c : {chkJouerFichierSon, chkPingStationAvantEnvoi, chkCapturerMessage}) {
        connect(c, &QCheckBox::toggled, this, &frmPreference::appliquerDependances);
    }

    // Entry filters.
    const auto* chiffres = new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), this);
    txtDelaiAttente->setValidator(chiffres);
    txtNbMessageMaxHistorique->setValidator(chiffres);
    // What a NetBIOS name holds: a longer sender could send nothing.
    txtExpediteur->setMaxLength(int(codec::kNetbiosNameMax));
    gZoneStation(txtExpediteur);
    for (QLineEdit* texte : findChildren<QLineEdit*>()) {
        gSelectionnerAuFocus(texte);
    }
    gSelectionnerAuFocus(txtSignature);
    txtTouchesAccesRapide->installEventFilter(this);
    // Keys are read, never typed, in the hot-key box.
    txtTouchesAccesRapide->setContextMenuPolicy(Qt::NoContextMenu);
    txtTouchesAccesRapide->setAttribute(Qt::WA_InputMethodEnabled, false);

    choisirFichierSon = [this](const QString& dossierDepart) { return gOuvrirFichier(this, dossierDepart); };
    jouerSon = [](const QString& fichier) { gJouerSon(fichier); };
    choisirPolice = [this](const QString& policeActuelle) { return gChoisirPolice(this, policeActuelle); };
    configurerCapture = [this] {
        frmConfigurationCapture fenetre(this);
        fenetre.exec();
    };

    gAfficherLibelle(gParametres().fichierLangue, this);
    remplir(gPreferencesActuelles());
    // As tall as the fullest page needs; the signature box takes what the user adds.
    resize(sizeHint().width(), minimumSizeHint().height());
}

QWidget* frmPreference::pageGeneral()
{
    auto* page = new QWidget;
    lblLangue = gCreerControle<QLabel>(page, "lblLangue", QStringLiteral("&Langue"));
    cboLangue = gCreerControle<QComboBox>(page, "cboLangue");
    chkDemarrerAvecWindows
        = gCreerControle<QCheckBox>(page, "chkDemarrerAvecWindows", QStringLiteral("Démarrer avec la session"));
    chkDemarrerMinimise = gCreerControle<QCheckBox>(page, "chkDemarrerMinimise", QStringLiteral("Démarrer réduit"));
    chkMinimiserSysTray = gCreerControle<QCheckBox>(
        page, "chkMinimiserSysTray", QStringLiteral("Réduire dans la zone de notification"));
    chkMinimiserBoutonX = gCreerControle<QCheckBox>(
        page, "chkMinimiserBoutonX", QStringLiteral("Le bouton de fermeture réduit la fenêtre"));
    chkAfficherUtilisateurAvecStation = gCreerControle<QCheckBox>(
        page, "chkAfficherUtilisateurAvecStation", QStringLiteral("Afficher les stations avec nom et adresse IP"));
    chkGarderPositionTailleFenetre = gCreerControle<QCheckBox>(
        page, "chkGarderPositionTailleFenetre", QStringLiteral("Garder la position et la taille des fenêtres"));
    lblTouchesAccesRapide
        = gCreerControle<QLabel>(page, "lblTouchesAccesRapide", QStringLiteral("&Touches d'accès rapide"));
    txtTouchesAccesRapide = gCreerControle<QLineEdit>(page, "txtTouchesAccesRapide");
    lblPolice = gCreerControle<QLabel>(page, "lblPolice", QStringLiteral("Police des messages"));
    txtApercuPolice = gCreerControle<QLineEdit>(page, "txtApercuPolice");
    txtApercuPolice->setReadOnly(true);
    txtApercuPolice->setFocusPolicy(Qt::NoFocus);
    cmdAfficherDialoguePolice
        = gCreerControle<QPushButton>(page, "cmdAfficherDialoguePolice", QStringLiteral("&Police..."));
    lblLangue->setBuddy(cboLangue);
    lblTouchesAccesRapide->setBuddy(txtTouchesAccesRapide);

    auto* formulaire = new QFormLayout;
    formulaire->addRow(lblLangue, cboLangue);
    formulaire->addRow(lblTouchesAccesRapide, txtTouchesAccesRapide);
    if (QLabel* avis = gCreerAvisTouchesAccesRapide(page, gParametres().fichierLangue)) {
        formulaire->addRow(QString(), avis);
    }
    auto* police = new QHBoxLayout;
    police->addWidget(txtApercuPolice, 1);
    police->addWidget(cmdAfficherDialoguePolice);
    formulaire->addRow(lblPolice, police);
    auto* layout = new QVBoxLayout(page);
    layout->addLayout(formulaire);
    layout->addSpacing(6);
    for (QCheckBox* c : {chkDemarrerAvecWindows,
                         chkDemarrerMinimise,
                         chkMinimiserSysTray,
                         chkMinimiserBoutonX,
                         chkAfficherUtilisateurAvecStation,
                         chkGarderPositionTailleFenetre}) {
        layout->addWidget(c);
    }
    layout->addStretch();
    return page;
}

QWidget* frmPreference::pageMessages()
{
    auto* page = new QWidget;
    fraCapture = gCreerControle<QGroupBox>(page, "fraCapture", QStringLiteral("Messages reçus"));
    chkCapturerMessage
        = gCreerControle<QCheckBox>(fraCapture, "chkCapturerMessage", QStringLiteral("Capturer les messages"));
    lblAffichageMessage = gCreerControle<QLabel>(fraCapture, "lblAffichageMessage", QStringLiteral("&Affichage"));
    cboAffichageMessage = gCreerControle<QComboBox>(fraCapture, "cboAffichageMessage");
    lblAffichageMessage->setBuddy(cboAffichageMessage);
    cmdConfigurerCapture
        = gCreerControle<QPushButton>(fraCapture, "cmdConfigurerCapture", QStringLiteral("&Configurer la capture..."));
    auto* capture = new QGridLayout(fraCapture);
    capture->addWidget(chkCapturerMessage, 0, 0, 1, 2);
    capture->addWidget(cmdConfigurerCapture, 0, 2);
    capture->addWidget(lblAffichageMessage, 1, 0);
    capture->addWidget(cboAffichageMessage, 1, 1, 1, 2);
    capture->setColumnStretch(1, 1);

    fraSon = gCreerControle<QGroupBox>(page, "fraSon", QStringLiteral("Son"));
    chkJouerFichierSon = gCreerControle<QCheckBox>(
        fraSon, "chkJouerFichierSon", QStringLiteral("Jouer un son à l'arrivée d'un message"));
    txtFichierSon = gCreerControle<QLineEdit>(fraSon, "txtFichierSon");
    cmdOuvrirFichierSon = gCreerControle<QPushButton>(fraSon, "cmdOuvrirFichierSon", QStringLiteral("..."));
    cmdJouerSon = gCreerControle<QPushButton>(fraSon, "cmdJouerSon", QStringLiteral("Éc&outer"));
    cmdOuvrirFichierSon->setFixedWidth(cmdOuvrirFichierSon->fontMetrics().horizontalAdvance(QStringLiteral("....."))
                                       + 16);
    auto* son = new QGridLayout(fraSon);
    son->addWidget(chkJouerFichierSon, 0, 0, 1, 3);
    son->addWidget(txtFichierSon, 1, 0);
    son->addWidget(cmdOuvrirFichierSon, 1, 1);
    son->addWidget(cmdJouerSon, 1, 2);

    lblNbMessageMaxHistorique = gCreerControle<QLabel>(
        page, "lblNbMessageMaxHistorique", QStringLiteral("&Nombre de messages gardés dans l'historique"));
    txtNbMessageMaxHistorique = gCreerControle<QLineEdit>(page, "txtNbMessageMaxHistorique");
    lblCaractereDevantReponseExpediteur = gCreerControle<QLabel>(
        page, "lblCaractereDevantReponseExpediteur", QStringLiteral("Ca&ractères devant les lignes citées"));
    txtCaractereDevantReponseExpediteur = gCreerControle<QLineEdit>(page, "txtCaractereDevantReponseExpediteur");
    lblNbMessageMaxHistorique->setBuddy(txtNbMessageMaxHistorique);
    lblCaractereDevantReponseExpediteur->setBuddy(txtCaractereDevantReponseExpediteur);
    for (QLineEdit* nombre : {txtNbMessageMaxHistorique, txtCaractereDevantReponseExpediteur}) {
        nombre->setFixedWidth(largeurNombre(nombre));
    }
    auto* divers = new QFormLayout;
    divers->addRow(lblNbMessageMaxHistorique, txtNbMessageMaxHistorique);
    divers->addRow(lblCaractereDevantReponseExpediteur, txtCaractereDevantReponseExpediteur);

    auto* layout = new QVBoxLayout(page);
    layout->addWidget(fraCapture);
    layout->addWidget(fraSon);
    layout->addLayout(divers);
    layout->addStretch();
    return page;
}

QWidget* frmPreference::pageSignature()
{
    auto* page = new QWidget;
    lblExpediteur = gCreerControle<QLabel>(page, "lblExpediteur", QStringLiteral("Nom de l'&expéditeur"));
    txtExpediteur = gCreerControle<QLineEdit>(page, "txtExpediteur");
    lblExpediteur->setBuddy(txtExpediteur);
    chkAjouterSignatureAutomatiquement = gCreerControle<QCheckBox>(
        page, "chkAjouterSignatureAutomatiquement", QStringLiteral("Ajouter la signature à chaque message"));
    txtSignature = gCreerControle<QPlainTextEdit>(page, "txtSignature");
    txtSignature->setTabChangesFocus(true);
    txtSignature->setMinimumHeight(txtSignature->fontMetrics().lineSpacing() * 5 + 12);
    fraEnvoi = gCreerControle<QGroupBox>(page, "fraEnvoi", QStringLiteral("Envoi"));
    chkMinimiserApresEnvoi = gCreerControle<QCheckBox>(
        fraEnvoi, "chkMinimiserApresEnvoi", QStringLiteral("Réduire la fenêtre après l'envoi"));
    chkEffacerMessageApresEnvoi = gCreerControle<QCheckBox>(
        fraEnvoi, "chkEffacerMessageApresEnvoi", QStringLiteral("Effacer le message après l'envoi"));
    chkPingStationAvantEnvoi = gCreerControle<QCheckBox>(
        fraEnvoi, "chkPingStationAvantEnvoi", QStringLiteral("Vérifier la station avant l'envoi"));
    lblDelaiAttente = gCreerControle<QLabel>(fraEnvoi, "lblDelaiAttente", QStringLiteral("Délai d'attente (ms)"));
    txtDelaiAttente = gCreerControle<QLineEdit>(fraEnvoi, "txtDelaiAttente");
    lblDelaiAttente->setBuddy(txtDelaiAttente);
    auto* envoi = new QGridLayout(fraEnvoi);
    envoi->addWidget(chkMinimiserApresEnvoi, 0, 0, 1, 3);
    envoi->addWidget(chkEffacerMessageApresEnvoi, 1, 0, 1, 3);
    envoi->addWidget(chkPingStationAvantEnvoi, 2, 0);
    envoi->addWidget(lblDelaiAttente, 2, 1, Qt::AlignRight);
    envoi->addWidget(txtDelaiAttente, 2, 2);
    txtDelaiAttente->setFixedWidth(largeurNombre(txtDelaiAttente));

    auto* expediteur = new QFormLayout;
    expediteur->addRow(lblExpediteur, txtExpediteur);
    auto* layout = new QVBoxLayout(page);
    layout->addLayout(expediteur);
    layout->addWidget(fraEnvoi);
    layout->addWidget(chkAjouterSignatureAutomatiquement);
    layout->addWidget(txtSignature, 1);
    return page;
}

frmPreference::~frmPreference()
{
    if (m_raccourci) {
        m_raccourci->setSuspended(false);
    }
}

void frmPreference::remplir(const Preferences& p)
{
    for (const LangueDisponible& l : gListerLangues(gDossierProgramme())) {
        cboLangue->addItem(l.nom, l.code);
        if (l.code.compare(p.langue, Qt::CaseInsensitive) == 0) {
            cboLangue->setCurrentIndex(cboLangue->count() - 1);
        }
    }
    chkDemarrerAvecWindows->setChecked(p.demarrerAvecSysteme);
    // Shown as if the stored combination had just been typed.
    toucheAppuyee(p.touchesAccesRapide.virtualKey,
                  (p.touchesAccesRapide.modifiers & HotKey::Ctrl ? Qt::ControlModifier : Qt::NoModifier)
                      | (p.touchesAccesRapide.modifiers & HotKey::Shift ? Qt::ShiftModifier : Qt::NoModifier)
                      | (p.touchesAccesRapide.modifiers & HotKey::Alt ? Qt::AltModifier : Qt::NoModifier));
    if (m_touches.virtualKey == 0) {
        m_touches = {};
        txtTouchesAccesRapide->clear();
    }
    afficherPolice(p.policeMessage);
    chkDemarrerMinimise->setChecked(p.demarrerMinimise);
    chkMinimiserSysTray->setChecked(p.minimiserSysTray);
    chkMinimiserBoutonX->setChecked(p.minimiserBoutonX);
    chkAfficherUtilisateurAvecStation->setChecked(p.afficherStationAvecNomIP);
    chkGarderPositionTailleFenetre->setChecked(p.garderPositionTailleFenetre);
    chkJouerFichierSon->setChecked(p.jouerFichierSon);
    txtFichierSon->setText(p.fichierSon);
    chkCapturerMessage->setChecked(p.capturerMessage);
    // The balloon needs a tray; Linux desktops all have one, so the three choices are always offered.
    for (const char* cle :
         {"AfficherMessageDifferenteFenetre", "AfficherMessageUneSeuleFenetre", "AfficherMessageInfoBulle"}) {
        cboAffichageMessage->addItem(gTexteMessage(cle));
    }
    cboAffichageMessage->setCurrentIndex(qBound(0, p.affichageMessage, cboAffichageMessage->count() - 1));
    chkMinimiserApresEnvoi->setChecked(p.minimiserApresEnvoi);
    chkEffacerMessageApresEnvoi->setChecked(p.effacerMessageApresEnvoi);
    chkPingStationAvantEnvoi->setChecked(p.pingStationAvantEnvoi);
    txtDelaiAttente->setText(p.delaiAttente);
    txtExpediteur->setText(p.expediteur);
    txtCaractereDevantReponseExpediteur->setText(p.caractereDevantReponseExpediteur);
    txtNbMessageMaxHistorique->setText(p.nbMessageMaxHistorique);
    chkAjouterSignatureAutomatiquement->setChecked(p.ajouterSignature);
    txtSignature->setPlainText(gEnLF(p.signature));
    appliquerDependances();
}

Preferences frmPreference::preferences() const
{
    Preferences p;
    p.langue = cboLangue->currentIndex() >= 0 ? cboLangue->currentData().toString() : gParametres().langue;
    p.demarrerAvecSysteme = chkDemarrerAvecWindows->isChecked();
    p.touchesAccesRapide = m_touches;
    p.policeMessage = m_police;
    p.demarrerMinimise = chkDemarrerMinimise->isChecked();
    p.minimiserSysTray = chkMinimiserSysTray->isChecked();
    p.minimiserBoutonX = chkMinimiserBoutonX->isChecked();
    p.afficherStationAvecNomIP = chkAfficherUtilisateurAvecStation->isChecked();
    p.garderPositionTailleFenetre = chkGarderPositionTailleFenetre->isChecked();
    p.jouerFichierSon = chkJouerFichierSon->isChecked();
    p.fichierSon = txtFichierSon->text();
    p.capturerMessage = chkCapturerMessage->isChecked();
    p.affichageMessage = cboAffichageMessage->currentIndex();
    p.minimiserApresEnvoi = chkMinimiserApresEnvoi->isChecked();
    p.effacerMessageApresEnvoi = chkEffacerMessageApresEnvoi->isChecked();
    p.pingStationAvantEnvoi = chkPingStationAvantEnvoi->isChecked();
    p.delaiAttente = txtDelaiAttente->text();
    p.expediteur = txtExpediteur->text();
    p.caractereDevantReponseExpediteur = txtCaractereDevantReponseExpediteur->text();
    p.nbMessageMaxHistorique = txtNbMessageMaxHistorique->text();
    p.ajouterSignature = chkAjouterSignatureAutomatiquement->isChecked();
    p.signature = txtSignature->toPlainText();
    return p;
}

void frmPreference::appliquerDependances()
{
    const bool son = chkJouerFichierSon->isChecked();
    for (QWidget* c : std::initializer_list<QWidget*> {txtFichierSon, cmdOuvrirFichierSon, cmdJouerSon}) {
        activer(c, son);
    }
    activer(txtDelaiAttente, chkPingStationAvantEnvoi->isChecked());
    cboAffichageMessage->setEnabled(chkCapturerMessage->isChecked());
}

void frmPreference::toucheAppuyee(int codeTouche, Qt::KeyboardModifiers modificateurs)
{
    const SaisieTouches s = gSaisirTouches(codeTouche,
                                           modificateurs.testFlag(Qt::ControlModifier),
                                           modificateurs.testFlag(Qt::ShiftModifier),
                                           modificateurs.testFlag(Qt::AltModifier));
    m_touches = s.touches;
    txtTouchesAccesRapide->setText(s.texte);
}

bool frmPreference::eventFilter(QObject* objet, QEvent* event)
{
    if (objet == txtTouchesAccesRapide) {
        if (m_raccourci && (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)) {
            m_raccourci->setSuspended(event->type() == QEvent::FocusIn);
        }
        switch (event->type()) {
        case QEvent::ShortcutOverride:
            // Alt + a letter is a combination here, not a button's access key.
            event->accept();
            return true;
        case QEvent::KeyPress: {
            const auto* touche = static_cast<QKeyEvent*>(event);
            const Qt::KeyboardModifiers modificateurs = touche->modifiers();
            if ((touche->key() == Qt::Key_Tab || touche->key() == Qt::Key_Backtab)
                && !(modificateurs & (Qt::ControlModifier | Qt::AltModifier))) {
                break; // leaves the box
            }
            Qt::KeyboardModifiers tenus = modificateurs;
            // Pressing a modifier key alone does not always report it as held yet.
            if (touche->key() == Qt::Key_Control) {
                tenus |= Qt::ControlModifier;
            } else if (touche->key() == Qt::Key_Shift) {
                tenus |= Qt::ShiftModifier;
            } else if (touche->key() == Qt::Key_Alt) {
                tenus |= Qt::AltModifier;
            }
            toucheAppuyee(gCodeToucheWindows(touche->key(), modificateurs.testFlag(Qt::KeypadModifier)), tenus);
            return true; // no character ever reaches the box
        }
        case QEvent::KeyRelease:
        case QEvent::FocusOut:
            if (m_touches.virtualKey == 0) {
                m_touches = {};
                txtTouchesAccesRapide->clear();
            }
            if (event->type() == QEvent::KeyRelease) {
                return true;
            }
            break;
        default:
            break;
        }
    }
    return QDialog::eventFilter(objet, event);
}

void frmPreference::afficherPolice(const QString& police)
{
    m_police = police;
    PoliceMessage p;
    gAnalyserPoliceMessage(police, p);
    txtApercuPolice->setText(gTexteApercuPolice(police));
    gAppliquerPolice(txtApercuPolice, p);
}

void frmPreference::cmdOuvrirFichierSon_Click()
{
    const QString actuel = txtFichierSon->text();
    const QString fichier = choisirFichierSon(actuel.left(actuel.lastIndexOf(QLatin1Char('/')) + 1));
    if (!fichier.isEmpty()) {
        txtFichierSon->setText(fichier);
    }
}

void frmPreference::cmdAfficherDialoguePolice_Click()
{
    if (const auto police = choisirPolice(m_police)) {
        afficherPolice(*police);
    }
}

void frmPreference::cmdConfigurerCapture_Click()
{
    // The capture would take the test pop-up first.
    if (m_tmrCaptureMessage) {
        m_tmrCaptureMessage->stop();
    }
    configurerCapture();
    if (m_tmrCaptureMessage) {
        m_tmrCaptureMessage->start();
    }
}

void frmPreference::mEnregistrerPreference()
{
    try {
        Preferences p = preferences();
        std::optional<QString> echecAlias;
        {
            const CurseurAttente attente;
            echecAlias = gEnregistrerPreferences(
                p, QCoreApplication::applicationFilePath(), qtext(PopupSpool::defaultFolder()));
        }
        chkMinimiserSysTray->setChecked(p.minimiserSysTray);
        if (echecAlias) {
            gMessageBox(gParametres().fichierLangue,
                        QStringLiteral("AliasExpediteurImpossible"),
                        MsgStyle::Exclamation,
                        {p.expediteur, *echecAlias});
        }
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("frmPreference.mEnregistrerPreference"), e);
    }
}

} // namespace pv
