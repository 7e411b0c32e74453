#include "engine/frmPilvanorUi.h"

#include "common/Controles.h"
#include "common/Paths.h"
#include "common/Saisie.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QStatusBar>
#include <QStyle>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

namespace pv {

namespace {

QIcon icone(const char* theme, QStyle::StandardPixmap secours)
{
    return QIcon::fromTheme(QLatin1String(theme), qApp->style()->standardIcon(secours));
}

} // namespace

void frmPilvanorUi::construire(QMainWindow* fenetre)
{
    fenetre->setObjectName(QStringLiteral("frmPilvanor"));
    fenetre->setWindowTitle(QLatin1String(TitreApplication));
    fenetre->setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));
    construireMenus(fenetre);
    construireBarresOutils(fenetre);
    construireControles(fenetre);
    staBarreStatut = gNommer(new QStatusBar(fenetre), "staBarreStatut");
    fenetre->setStatusBar(staBarreStatut);
    // Beside the send outcome, which the status bar's own message shows.
    lblGroupeRapide = gNommer(new QLabel(staBarreStatut), "lblGroupeRapide");
    lblGroupeRapide->setProperty("sansLibelle", true);
    lblGroupeRapide->hide();
    staBarreStatut->addPermanentWidget(lblGroupeRapide);
    // The capture of received messages runs on this timer's ticks.
    tmrCaptureMessage = gNommer(new QTimer(fenetre), "tmrCaptureMessage");
    fenetre->setMinimumSize(360, 300);
    fenetre->resize(520, 440);
}

void frmPilvanorUi::construireMenus(QMainWindow* fenetre)
{
    auto action = [fenetre](QMenu* menu, const char* nom, const char* texte) {
        QAction* a = gNommer(new QAction(QString::fromUtf8(texte), fenetre), nom);
        menu->addAction(a);
        return a;
    };
    QMenuBar* barre = fenetre->menuBar();
    mnuFichier = gNommer(barre->addMenu(QStringLiteral("&Fichier")), "mnuFichier");
    mnuFicUtilisateur = action(mnuFichier, "mnuFicUtilisateur", "&Utilisateurs...");
    mnuFicGroupe = action(mnuFichier, "mnuFicGroupe", "&Groupes...");
    mnuFichier->addSeparator();
    mnuFicListeRappel = action(mnuFichier, "mnuFicListeRappel", "&Liste des rappels...");
    mnuFicPreference = action(mnuFichier, "mnuFicPreference", "&Préférences...");
    mnuFichier->addSeparator();
    mnuFicQuitter = action(mnuFichier, "mnuFicQuitter", "&Quitter");

    mnuMessage = gNommer(barre->addMenu(QStringLiteral("&Message")), "mnuMessage");
    mnuMesEnvoyer = action(mnuMessage, "mnuMesEnvoyer", "&Envoyer");
    mnuMesEffacer = action(mnuMessage, "mnuMesEffacer", "&Effacer");
    mnuMessage->addSeparator();
    mnuMesInsererSignature = action(mnuMessage, "mnuMesInsererSignature", "&Insérer la signature");
    mnuMesMessagePredefini = action(mnuMessage, "mnuMesMessagePredefini", "&Messages prédéfinis...");
    mnuMessage->addSeparator();
    mnuMesHistoriqueMessage = gNommer(mnuMessage->addMenu(QStringLiteral("Historique")), "mnuMesHistoriqueMessage");
    mnuHisHistoriqueMessageRecu = action(mnuMesHistoriqueMessage, "mnuHisHistoriqueMessageRecu", "Messages &reçus");
    mnuHisSupprimerHistoriqueMessageRecu
        = action(mnuMesHistoriqueMessage, "mnuHisSupprimerHistoriqueMessageRecu", "&Supprimer les messages reçus");
    mnuMesHistoriqueMessage->addSeparator();
    mnuHisHistoriqueMessageEnvoye
        = action(mnuMesHistoriqueMessage, "mnuHisHistoriqueMessageEnvoye", "Messages &envoyés");
    mnuHisSupprimerHistoriqueMessageEnvoye
        = action(mnuMesHistoriqueMessage, "mnuHisSupprimerHistoriqueMessageEnvoye", "S&upprimer les message envoyés");

    mnuAide = gNommer(barre->addMenu(QStringLiteral("&Aide")), "mnuAide");
    mnuAidPilvanor = action(mnuAide, "mnuAidPilvanor", "Aide sur Pilvanor");
    mnuAidAProposDe = action(mnuAide, "mnuAidAProposDe", "A propos de Pilvanor...");

    mnuSysTray = gNommer(new QMenu(QStringLiteral("&SysTray"), fenetre), "mnuSysTray");
    mnuSysRestaurer = action(mnuSysTray, "mnuSysRestaurer", "Restaurer");
    QFont gras = mnuSysRestaurer->font();
    gras.setBold(true);
    mnuSysRestaurer->setFont(gras);
    mnuSysTray->addSeparator();
    mnuSysHistoriqueMessageRecu = action(mnuSysTray, "mnuSysHistoriqueMessageRecu", "Historique des messages reçus");
    mnuSysHistoriqueMessageEnvoye
        = action(mnuSysTray, "mnuSysHistoriqueMessageEnvoye", "Historique des messages envoyés");
    mnuSysListeRappel = action(mnuSysTray, "mnuSysListeRappel", "Liste des rappels...");
    mnuSysTray->addSeparator();
    mnuSysPreference = action(mnuSysTray, "mnuSysPreference", "Préférences...");
    mnuSysAProposDe = action(mnuSysTray, "mnuSysAProposDe", "A propos de Pilvanor...");
    mnuSysAidePilvanor = action(mnuSysTray, "mnuSysAidePilvanor", "Aide sur Pilvanor");
    mnuSysTray->addSeparator();
    mnuSysQuitter = action(mnuSysTray, "mnuSysQuitter", "Quitter");
}

void frmPilvanorUi::construireBarresOutils(QMainWindow* fenetre)
{
    // A button that stands for a menu entry does what the entry does.
    auto ajouter = [](QToolBar* barre,
                      const char* cle,
                      const char* theme,
                      QStyle::StandardPixmap secours,
                      QAction* menu = nullptr) {
        QAction* a = barre->addAction(icone(theme, secours), QLatin1String(cle));
        if (menu) {
            QObject::connect(a, &QAction::triggered, menu, &QAction::trigger);
        }
        return a;
    };
    tlbPrincipale = gNommer(new QToolBar(fenetre), "tlbPrincipale");
    tlbPrincipale->setMovable(false);
    fenetre->addToolBar(Qt::TopToolBarArea, tlbPrincipale);
    bouton.Utilisateurs
        = ajouter(tlbPrincipale, "Utilisateurs", "system-users", QStyle::SP_DirHomeIcon, mnuFicUtilisateur);
    bouton.Groupes = ajouter(tlbPrincipale, "Groupes", "folder", QStyle::SP_DirIcon, mnuFicGroupe);
    tlbPrincipale->addSeparator();
    bouton.HistoriqueMessageRecu = ajouter(
        tlbPrincipale, "HistoriqueMessageRecu", "mail-folder-inbox", QStyle::SP_ArrowDown, mnuHisHistoriqueMessageRecu);
    bouton.HistoriqueMessageEnvoye = ajouter(tlbPrincipale,
                                             "HistoriqueMessageEnvoye",
                                             "mail-folder-outbox",
                                             QStyle::SP_ArrowUp,
                                             mnuHisHistoriqueMessageEnvoye);
    tlbPrincipale->addSeparator();
    bouton.MessagePredefini = ajouter(
        tlbPrincipale, "MessagePredefini", "document-edit", QStyle::SP_FileDialogDetailedView, mnuMesMessagePredefini);
    bouton.ListeRappel
        = ajouter(tlbPrincipale, "ListeRappel", "appointment-new", QStyle::SP_FileDialogInfoView, mnuFicListeRappel);
    tlbPrincipale->addSeparator();
    bouton.Preference
        = ajouter(tlbPrincipale, "Preference", "preferences-system", QStyle::SP_ComputerIcon, mnuFicPreference);
    tlbPrincipale->addSeparator();
    bouton.AProposDe
        = ajouter(tlbPrincipale, "AProposDe", "help-about", QStyle::SP_MessageBoxInformation, mnuAidAProposDe);
    bouton.AidePilvanor
        = ajouter(tlbPrincipale, "AidePilvanor", "help-contents", QStyle::SP_DialogHelpButton, mnuAidPilvanor);

    tlbMessage = gNommer(new QToolBar(fenetre), "tlbMessage");
    tlbMessage->setMovable(false);
    tlbMessage->setIconSize(QSize(16, 16));
    bouton.EnvoyerMessage = ajouter(tlbMessage, "EnvoyerMessage", "mail-send", QStyle::SP_ArrowRight, mnuMesEnvoyer);
    bouton.EffacerMessage
        = ajouter(tlbMessage, "EffacerMessage", "edit-clear", QStyle::SP_DialogResetButton, mnuMesEffacer);
    tlbMessage->addSeparator();
    bouton.OuvrirTexteSelectionne
        = ajouter(tlbMessage, "OuvrirTexteSelectionne", "document-open", QStyle::SP_DialogOpenButton);
    // Send may be done only when the menu entry may.
    QObject::connect(mnuMesEnvoyer, &QAction::enabledChanged, bouton.EnvoyerMessage, &QAction::setEnabled);
}

void frmPilvanorUi::construireControles(QMainWindow* fenetre)
{
    auto* central = new QWidget(fenetre);
    auto* layout = new QVBoxLayout(central);

    fraDestinataire = gNommer(new QGroupBox(QStringLiteral("Destinataire"), central), "fraDestinataire");
    auto* fraLayout = new QVBoxLayout(fraDestinataire);
    auto* options = new QHBoxLayout;
    const char* libelles[] = {"Utilisateurs", "Groupes"};
    for (int i = 0; i < 2; ++i) {
        // A control array: the members share the name and carry their index.
        optDestinataire[i] = gNommer(new QRadioButton(QLatin1String(libelles[i]), fraDestinataire), "optDestinataire");
        optDestinataire[i]->setProperty("index", i);
        options->addWidget(optDestinataire[i]);
    }
    options->addStretch();
    fraLayout->addLayout(options);
    cboDestinataire = gNommer(new QComboBox(fraDestinataire), "cboDestinataire");
    cboDestinataire->setEditable(true);
    cboDestinataire->setInsertPolicy(QComboBox::NoInsert);
    // Completion is the window's own, on key release, as the recipient list has always done it.
    cboDestinataire->setCompleter(nullptr);
    fraLayout->addWidget(cboDestinataire);
    layout->addWidget(fraDestinataire);

    auto* predefini = new QHBoxLayout;
    lblMessagePredefini = gNommer(new QLabel(QStringLiteral("Message prédéfini"), central), "lblMessagePredefini");
    cboMessagePredefini = gNommer(new QComboBox(central), "cboMessagePredefini");
    cboMessagePredefini->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cboMessagePredefini->setMinimumContentsLength(12);
    lblMessagePredefini->setBuddy(cboMessagePredefini);
    predefini->addWidget(lblMessagePredefini);
    predefini->addWidget(cboMessagePredefini, 1);
    layout->addLayout(predefini);

    auto* coches = new QHBoxLayout;
    chkAjouterMessagePredefini
        = gNommer(new QCheckBox(QStringLiteral("Ajouter au message"), central), "chkAjouterMessagePredefini");
    chkEncrypterMessage = gNommer(new QCheckBox(QStringLiteral("Crypter le message"), central), "chkEncrypterMessage");
    coches->addWidget(chkAjouterMessagePredefini);
    coches->addWidget(chkEncrypterMessage);
    coches->addStretch();
    layout->addLayout(coches);

    auto* entete = new QHBoxLayout;
    lblMessage = gNommer(new QLabel(QStringLiteral("Message"), central), "lblMessage");
    entete->addWidget(lblMessage);
    entete->addStretch();
    entete->addWidget(tlbMessage);
    layout->addLayout(entete);
    txtMessage = gNommer(new QPlainTextEdit(central), "txtMessage");
    lblMessage->setBuddy(txtMessage);
    gSelectionnerAuFocus(txtMessage);
    layout->addWidget(txtMessage, 1);
    fenetre->setCentralWidget(central);
}

} // namespace pv
