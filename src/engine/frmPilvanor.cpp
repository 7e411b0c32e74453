#include "engine/frmPilvanor.h"
#include "common/MessengerText.h"

#include "addressbook/CarnetAdresses.h"
#include "addressbook/frmGroupe.h"
#include "addressbook/frmMessagePredefini.h"
#include "addressbook/frmUtilisateur.h"
#include "common/DataFile.h"
#include "common/ErrorReport.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/NetworkProbes.h"
#include "common/OuvrirTexte.h"
#include "common/Paths.h"
#include "common/Son.h"
#include "engine/Envoi.h"
#include "engine/GlobalHotKey.h"
#include "engine/LanceurService.h"
#include "engine/Migration.h"
#include "engine/Notification.h"
#include "engine/NotificationBureau.h"
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
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QStatusBar>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <cstdio>

namespace pv {

namespace {

const QString ClePosition = QStringLiteral("PositionTailleFenetrePrincipale");
const char* const CleBouton = "cle";

template<typename T>
T* nomme(T* objet, const char* nom)
{
    objet->setObjectName(QLatin1String(nom));
    return objet;
}

QIcon icone(const char* theme, QStyle::StandardPixmap secours)
{
    return QIcon::fromTheme(QLatin1String(theme), qApp->style()->standardIcon(secours));
}

// An open history window of that kind follows what was just stored; like a fresh one, it shows the newest.
void rechargerHistoriques(TypeFenetre type)
{
    for (QWidget* fenetre : QApplication::topLevelWidgets()) {
        auto* f = qobject_cast<frmMessage*>(fenetre);
        if (f && f->typeFenetre() == type && f->isVisible()) {
            f->mObtenirHistoriqueMessage(QString());
            f->mChargerListeUtilisateurDateHeure();
        }
    }
}

} // namespace

frmPilvanor::frmPilvanor(QWidget* parent)
    : QMainWindow(parent)
    , m_hotKey(new GlobalHotKey(this))
{
    setObjectName(QStringLiteral("frmPilvanor"));
    setWindowTitle(QLatin1String(TitreApplication));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));
    construireMenus();
    construireBarresOutils();
    construireControles();
    staBarreStatut = nomme(new QStatusBar(this), "staBarreStatut");
    setStatusBar(staBarreStatut);
    // A long message (why this computer cannot receive, a failed send) is cut at the window's edge: the whole
    // text is its tool tip, and a click shows it in a box.
    connect(staBarreStatut, &QStatusBar::messageChanged, staBarreStatut, &QWidget::setToolTip);
    staBarreStatut->installEventFilter(this);
    // Beside the send outcome, which the status bar's own message shows.
    lblGroupeRapide = nomme(new QLabel(staBarreStatut), "lblGroupeRapide");
    lblGroupeRapide->setProperty("sansLibelle", true);
    lblGroupeRapide->hide();
    staBarreStatut->addPermanentWidget(lblGroupeRapide);
    // The capture of received messages runs on this timer's ticks.
    tmrCaptureMessage = nomme(new QTimer(this), "tmrCaptureMessage");
    setMinimumSize(360, 300);
    resize(520, 440);

    connect(m_hotKey, &GlobalHotKey::activated, this, &frmPilvanor::restaurer);
    relierBureau();
    connect(tmrCaptureMessage, &QTimer::timeout, this, &frmPilvanor::mCapturerMessage);
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this] { m_quitter = true; });
}

frmPilvanor::~frmPilvanor()
{
    decharger();
    delete m_fenetreGroupe.data();
    if (m_envoiEnCours) {
        // The engine goes with the window and will not say that it has finished.
        QApplication::restoreOverrideCursor();
    }
}

void frmPilvanor::construireMenus()
{
    auto action = [this](QMenu* menu, const char* nom, const char* texte) {
        QAction* a = nomme(new QAction(QString::fromUtf8(texte), this), nom);
        menu->addAction(a);
        return a;
    };
    mnuFichier = nomme(menuBar()->addMenu(QStringLiteral("&Fichier")), "mnuFichier");
    mnuFicUtilisateur = action(mnuFichier, "mnuFicUtilisateur", "&Utilisateurs...");
    mnuFicGroupe = action(mnuFichier, "mnuFicGroupe", "&Groupes...");
    mnuFichier->addSeparator();
    mnuFicListeRappel = action(mnuFichier, "mnuFicListeRappel", "&Liste des rappels...");
    mnuFicPreference = action(mnuFichier, "mnuFicPreference", "&Préférences...");
    mnuFichier->addSeparator();
    mnuFicQuitter = action(mnuFichier, "mnuFicQuitter", "&Quitter");

    mnuMessage = nomme(menuBar()->addMenu(QStringLiteral("&Message")), "mnuMessage");
    mnuMesEnvoyer = action(mnuMessage, "mnuMesEnvoyer", "&Envoyer");
    mnuMesEffacer = action(mnuMessage, "mnuMesEffacer", "&Effacer");
    mnuMessage->addSeparator();
    mnuMesInsererSignature = action(mnuMessage, "mnuMesInsererSignature", "&Insérer la signature");
    mnuMesMessagePredefini = action(mnuMessage, "mnuMesMessagePredefini", "&Messages prédéfinis...");
    mnuMessage->addSeparator();
    mnuMesHistoriqueMessage = nomme(mnuMessage->addMenu(QStringLiteral("Historique")), "mnuMesHistoriqueMessage");
    mnuHisHistoriqueMessageRecu = action(mnuMesHistoriqueMessage, "mnuHisHistoriqueMessageRecu", "Messages &reçus");
    mnuHisSupprimerHistoriqueMessageRecu
        = action(mnuMesHistoriqueMessage, "mnuHisSupprimerHistoriqueMessageRecu", "&Supprimer les messages reçus");
    mnuMesHistoriqueMessage->addSeparator();
    mnuHisHistoriqueMessageEnvoye
        = action(mnuMesHistoriqueMessage, "mnuHisHistoriqueMessageEnvoye", "Messages &envoyés");
    mnuHisSupprimerHistoriqueMessageEnvoye
        = action(mnuMesHistoriqueMessage, "mnuHisSupprimerHistoriqueMessageEnvoye", "S&upprimer les message envoyés");

    mnuAide = nomme(menuBar()->addMenu(QStringLiteral("&Aide")), "mnuAide");
    mnuAidPilvanor = action(mnuAide, "mnuAidPilvanor", "Aide sur Pilvanor");
    mnuAidAProposDe = action(mnuAide, "mnuAidAProposDe", "A propos de Pilvanor...");

    // The tray menu is not in the menu bar.
    mnuSysTray = nomme(new QMenu(QStringLiteral("&SysTray"), this), "mnuSysTray");
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
    // Tray entries that open a window put the main window in front first.
    connect(mnuSysHistoriqueMessageRecu, &QAction::triggered, this, [this] {
        restaurer();
        ouvrirHistorique(false);
    });
    connect(mnuSysHistoriqueMessageEnvoye, &QAction::triggered, this, [this] {
        restaurer();
        ouvrirHistorique(true);
    });

    connect(mnuFicListeRappel, &QAction::triggered, this, [] { frmListeRappel::mAfficher(); });
    connect(mnuSysListeRappel, &QAction::triggered, this, [this] {
        restaurer();
        frmListeRappel::mAfficher();
    });
    connect(mnuFicPreference, &QAction::triggered, this, &frmPilvanor::ouvrirPreferences);
    connect(mnuAidAProposDe, &QAction::triggered, this, &frmPilvanor::ouvrirAProposDe);
    connect(mnuSysPreference, &QAction::triggered, this, [this] {
        restaurer();
        ouvrirPreferences();
    });
    connect(mnuSysAProposDe, &QAction::triggered, this, [this] {
        restaurer();
        ouvrirAProposDe();
    });

    connect(mnuFicUtilisateur, &QAction::triggered, this, [this] { ouvrirEditeur<frmUtilisateur>(m_frmUtilisateur); });
    connect(mnuFicGroupe, &QAction::triggered, this, [this] { ouvrirEditeur<frmGroupe>(m_frmGroupe); });
    connect(mnuMesMessagePredefini, &QAction::triggered, this, [this] {
        ouvrirEditeur<frmMessagePredefini>(m_frmMessagePredefini);
    });

    connect(mnuAidPilvanor, &QAction::triggered, this, [] { gOuvrirAide(); });
    connect(mnuSysAidePilvanor, &QAction::triggered, this, [this] {
        restaurer();
        gOuvrirAide();
    });
}

void frmPilvanor::construireBarresOutils()
{
    auto bouton = [](QToolBar* barre, const char* cle, const char* theme, QStyle::StandardPixmap secours) {
        // Toolbar buttons are reached by their key, as their tool tips come through the toolbar's own label.
        QAction* a = barre->addAction(icone(theme, secours), QLatin1String(cle));
        a->setProperty(CleBouton, QLatin1String(cle));
        return a;
    };
    tlbPrincipale = nomme(new QToolBar(this), "tlbPrincipale");
    tlbPrincipale->setMovable(false);
    addToolBar(Qt::TopToolBarArea, tlbPrincipale);
    bouton(tlbPrincipale, "Utilisateurs", "system-users", QStyle::SP_DirHomeIcon);
    bouton(tlbPrincipale, "Groupes", "folder", QStyle::SP_DirIcon);
    tlbPrincipale->addSeparator();
    bouton(tlbPrincipale, "HistoriqueMessageRecu", "mail-folder-inbox", QStyle::SP_ArrowDown);
    bouton(tlbPrincipale, "HistoriqueMessageEnvoye", "mail-folder-outbox", QStyle::SP_ArrowUp);
    tlbPrincipale->addSeparator();
    bouton(tlbPrincipale, "MessagePredefini", "document-edit", QStyle::SP_FileDialogDetailedView);
    bouton(tlbPrincipale, "ListeRappel", "appointment-new", QStyle::SP_FileDialogInfoView);
    tlbPrincipale->addSeparator();
    bouton(tlbPrincipale, "Preference", "preferences-system", QStyle::SP_ComputerIcon);
    tlbPrincipale->addSeparator();
    bouton(tlbPrincipale, "AProposDe", "help-about", QStyle::SP_MessageBoxInformation);
    bouton(tlbPrincipale, "AidePilvanor", "help-contents", QStyle::SP_DialogHelpButton);

    tlbMessage = nomme(new QToolBar(this), "tlbMessage");
    tlbMessage->setMovable(false);
    tlbMessage->setIconSize(QSize(16, 16));
    bouton(tlbMessage, "EnvoyerMessage", "mail-send", QStyle::SP_ArrowRight);
    bouton(tlbMessage, "EffacerMessage", "edit-clear", QStyle::SP_DialogResetButton);
    tlbMessage->addSeparator();
    bouton(tlbMessage, "OuvrirTexteSelectionne", "document-open", QStyle::SP_DialogOpenButton);

    connect(boutonBarreOutils(QStringLiteral("EffacerMessage")), &QAction::triggered, mnuMesEffacer, &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("OuvrirTexteSelectionne")), &QAction::triggered, this, [this] {
        gOuvrirTexteSelectionne(txtMessage);
    });
    connect(boutonBarreOutils(QStringLiteral("EnvoyerMessage")), &QAction::triggered, mnuMesEnvoyer, &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("HistoriqueMessageRecu")),
            &QAction::triggered,
            mnuHisHistoriqueMessageRecu,
            &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("HistoriqueMessageEnvoye")),
            &QAction::triggered,
            mnuHisHistoriqueMessageEnvoye,
            &QAction::trigger);
    connect(
        boutonBarreOutils(QStringLiteral("ListeRappel")), &QAction::triggered, mnuFicListeRappel, &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("Preference")), &QAction::triggered, mnuFicPreference, &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("AProposDe")), &QAction::triggered, mnuAidAProposDe, &QAction::trigger);
    connect(
        boutonBarreOutils(QStringLiteral("Utilisateurs")), &QAction::triggered, mnuFicUtilisateur, &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("Groupes")), &QAction::triggered, mnuFicGroupe, &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("MessagePredefini")),
            &QAction::triggered,
            mnuMesMessagePredefini,
            &QAction::trigger);
    connect(boutonBarreOutils(QStringLiteral("AidePilvanor")), &QAction::triggered, mnuAidPilvanor, &QAction::trigger);
}

void frmPilvanor::construireControles()
{
    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);

    fraDestinataire = nomme(new QGroupBox(QStringLiteral("Destinataire"), central), "fraDestinataire");
    auto* fraLayout = new QVBoxLayout(fraDestinataire);
    auto* options = new QHBoxLayout;
    const char* libelles[] = {"Utilisateurs", "Groupes"};
    for (int i = 0; i < 2; ++i) {
        // A control array: the members share the name and carry their index.
        optDestinataire[i] = nomme(new QRadioButton(QLatin1String(libelles[i]), fraDestinataire), "optDestinataire");
        optDestinataire[i]->setProperty("index", i);
        options->addWidget(optDestinataire[i]);
        connect(optDestinataire[i], &QRadioButton::toggled, this, [this](bool on) {
            if (on) {
                remplirDestinataires();
            }
        });
    }
    options->addStretch();
    fraLayout->addLayout(options);
    cboDestinataire = nomme(new QComboBox(fraDestinataire), "cboDestinataire");
    cboDestinataire->setEditable(true);
    cboDestinataire->setInsertPolicy(QComboBox::NoInsert);
    // Completion is ours, on key release, as the recipient list has always done it.
    cboDestinataire->setCompleter(nullptr);
    cboDestinataire->installEventFilter(this);
    fraLayout->addWidget(cboDestinataire);
    layout->addWidget(fraDestinataire);

    auto* predefini = new QHBoxLayout;
    lblMessagePredefini = nomme(new QLabel(QStringLiteral("Message prédéfini"), central), "lblMessagePredefini");
    cboMessagePredefini = nomme(new QComboBox(central), "cboMessagePredefini");
    cboMessagePredefini->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cboMessagePredefini->setMinimumContentsLength(12);
    lblMessagePredefini->setBuddy(cboMessagePredefini);
    predefini->addWidget(lblMessagePredefini);
    predefini->addWidget(cboMessagePredefini, 1);
    layout->addLayout(predefini);

    auto* coches = new QHBoxLayout;
    chkAjouterMessagePredefini
        = nomme(new QCheckBox(QStringLiteral("Ajouter au message"), central), "chkAjouterMessagePredefini");
    chkEncrypterMessage = nomme(new QCheckBox(QStringLiteral("Crypter le message"), central), "chkEncrypterMessage");
    coches->addWidget(chkAjouterMessagePredefini);
    coches->addWidget(chkEncrypterMessage);
    coches->addStretch();
    layout->addLayout(coches);

    auto* entete = new QHBoxLayout;
    lblMessage = nomme(new QLabel(QStringLiteral("Message"), central), "lblMessage");
    entete->addWidget(lblMessage);
    entete->addStretch();
    entete->addWidget(tlbMessage);
    layout->addLayout(entete);
    txtMessage = nomme(new QPlainTextEdit(central), "txtMessage");
    lblMessage->setBuddy(txtMessage);
    layout->addWidget(txtMessage, 1);
    setCentralWidget(central);

    txtMessage->installEventFilter(this);
    connect(cboMessagePredefini, &QComboBox::activated, this, &frmPilvanor::choisirMessagePredefini);
    connect(cboDestinataire, &QComboBox::editTextChanged, this, &frmPilvanor::destinataireModifie);
    connect(txtMessage, &QPlainTextEdit::textChanged, this, &frmPilvanor::mettreAJourEnvoyer);
    mettreAJourEnvoyer();
}

QAction* frmPilvanor::boutonBarreOutils(const QString& cle) const
{
    for (QToolBar* barre : {tlbPrincipale, tlbMessage}) {
        for (QAction* a : barre->actions()) {
            if (a->property(CleBouton).toString() == cle) {
                return a;
            }
        }
    }
    return nullptr;
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
    remplirDestinataires();
    remplirMessagesPredefinis();
    gAfficherLibelle(p.fichierLangue, this);

    chkAjouterMessagePredefini->setChecked(p.ajouterMessagePredefini);
    chkEncrypterMessage->setChecked(p.encrypterMessage);
    gRestaurerPositionFenetre(this, ClePosition);

    // Said once, where the user looks, without stopping the start.
    QStringList textes;
    for (const auto& probleme : problemes) {
        textes.append(gMessageTexte(p.fichierLangue, probleme.cle, probleme.champs));
        std::fprintf(stderr, "pilvanor: %s\n", qPrintable(textes.last()));
    }
    if (!textes.isEmpty()) {
        staBarreStatut->showMessage(textes.join(QLatin1Char(' ')));
    }

    auto* service = new LanceurService(this);
    connect(service, &LanceurService::receptionImpossible, this, [this](const QString& raison) {
        staBarreStatut->showMessage(
            gMessageTexte(gParametres().fichierLangue, QStringLiteral("ReceptionImpossible"), {raison}));
    });
    service->demarrer();

    if (p.minimiserSysTray) {
        ajouterPVSysTray();
    }
    if (p.demarrerMinimise) {
        if (picSysTray && QSystemTrayIcon::isSystemTrayAvailable()) {
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
        connect(fenetre, &Editeur::donneesModifiees, this, &frmPilvanor::actualiserListes);
    }
    devant(fenetre);
}

void frmPilvanor::actualiserListes()
{
    // The recipient being typed stays.
    const QString destinataire = cboDestinataire->currentText();
    remplirDestinataires();
    cboDestinataire->setEditText(destinataire);
    remplirMessagesPredefinis();
}

void frmPilvanor::remplirDestinataires()
{
    cboDestinataire->clear();
    if (optDestinataire[1]->isChecked()) {
        for (const Groupe& g : gGroupes()) {
            cboDestinataire->addItem(g.nom);
        }
    } else {
        for (const Utilisateur& u : gUtilisateurs()) {
            cboDestinataire->addItem(u.station + QStringLiteral(" (") + u.description + QLatin1Char(')'));
        }
    }
    cboDestinataire->setCurrentIndex(-1);
}

bool frmPilvanor::eventFilter(QObject* objet, QEvent* event)
{
    if (objet == staBarreStatut && event->type() == QEvent::MouseButtonRelease
        && !staBarreStatut->currentMessage().isEmpty()) {
        showMessageBox(staBarreStatut->currentMessage(), MsgStyle::Information);
        return true;
    }
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) {
        return QMainWindow::eventFilter(objet, event);
    }
    const auto* touche = static_cast<QKeyEvent*>(event);
    const bool entree = touche->key() == Qt::Key_Return || touche->key() == Qt::Key_Enter;
    const Qt::KeyboardModifiers modificateurs = touche->modifiers() & ~Qt::KeypadModifier;
    if (objet == txtMessage) {
        if (event->type() == QEvent::KeyPress && entree && modificateurs == Qt::ControlModifier) {
            mEnvoyerMessage();
            return true;
        }
    } else if (objet == cboDestinataire && event->type() == QEvent::KeyPress) {
        if (entree && modificateurs == Qt::NoModifier) {
            // Enter sends once there is something to send; before that it moves on to the text.
            if (!mEnvoyerMessage() && !m_envoiEnCours) {
                txtMessage->setFocus();
            }
            return true;
        }
        const QString texte = touche->text();
        if (!texte.isEmpty() && texte != texte.toUpper()
            && !(modificateurs & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))) {
            // Station names are upper case; only typed characters change, not the entries chosen.
            cboDestinataire->lineEdit()->insert(texte.toUpper());
            return true;
        }
    } else if (objet == cboDestinataire && touche->key() >= Qt::Key_A && touche->key() <= Qt::Key_Z) {
        completerDestinataire();
    }
    return QMainWindow::eventFilter(objet, event);
}

void frmPilvanor::completerDestinataire()
{
    QLineEdit* saisie = cboDestinataire->lineEdit();
    const QString tape = saisie->text();
    if (tape.isEmpty() || saisie->hasSelectedText() || saisie->cursorPosition() != tape.size()) {
        return;
    }
    for (int i = 0; i < cboDestinataire->count(); ++i) {
        const QString entree = cboDestinataire->itemText(i);
        if (entree.startsWith(tape, Qt::CaseInsensitive)) {
            saisie->setUpdatesEnabled(false);
            saisie->setText(entree);
            saisie->setSelection(int(tape.size()), int(entree.size() - tape.size()));
            saisie->setUpdatesEnabled(true);
            return;
        }
    }
}

void frmPilvanor::destinataireModifie()
{
    const QString texte = cboDestinataire->currentText();
    QStringList stations;
    if (cboDestinataire->findText(texte, Qt::MatchFixedString) < 0) {
        for (const QString& station : texte.split(QLatin1Char(','))) {
            if (!station.trimmed().isEmpty()) {
                stations.append(station.trimmed().toUpper());
            }
        }
    }
    if (stations.size() > 1) {
        lblGroupeRapide->setText(gMessageTexte(gParametres().fichierLangue, QStringLiteral("GroupeRapide"))
                                 + QStringLiteral(": ") + stations.join(QStringLiteral(", ")));
        lblGroupeRapide->show();
    } else {
        lblGroupeRapide->hide();
    }
    mettreAJourEnvoyer();
}

void frmPilvanor::mettreAJourEnvoyer()
{
    const bool possible = !m_envoiEnCours && !cboDestinataire->currentText().trimmed().isEmpty()
                          && !txtMessage->toPlainText().trimmed().isEmpty();
    mnuMesEnvoyer->setEnabled(possible);
    boutonBarreOutils(QStringLiteral("EnvoyerMessage"))->setEnabled(possible);
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
        rechargerHistoriques(TypeFenetre::HistoriqueEnvoye);
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
    demande.texte = txtMessage->toPlainText().replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    demande.crypter = chkEncrypterMessage->isChecked();
    demande.destinataire.liste = optDestinataire[1]->isChecked() ? DestinataireChoisi::Liste::Groupes
                                                                 : DestinataireChoisi::Liste::Utilisateurs;
    // Typed in another case, an entry is still that entry, under its own name.
    const QString tape = cboDestinataire->currentText().trimmed();
    demande.destinataire.index = cboDestinataire->findText(tape, Qt::MatchFixedString);
    demande.destinataire.texte
        = demande.destinataire.index >= 0 ? cboDestinataire->itemText(demande.destinataire.index) : tape;
    m_envoiGroupe = false;
    if (!envoi()->mEnvoyerMessage(demande)) {
        return false;
    }
    m_envoiEnCours = true;
    mettreAJourEnvoyer();
    staBarreStatut->clearMessage();
    QApplication::setOverrideCursor(Qt::WaitCursor);
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
    m_envoiEnCours = false;
    QApplication::restoreOverrideCursor();
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
    const QString texte
        = gDecoderTexte(gMessagesPredefinis()[index].texte).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
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
    txtMessage->insertPlainText(QLatin1Char('\n') + signature.replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
}

void frmPilvanor::ouvrirHistorique(bool envoye)
{
    auto* fenetre = new frmMessage(envoye ? TypeFenetre::HistoriqueEnvoye : TypeFenetre::HistoriqueRecu);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const bool charge = fenetre->mCharger();
    QApplication::restoreOverrideCursor();
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
    const QString station = gObtenirStation(pstrStation).trimmed().toUpper();
    // A new sender becomes a user; a name that cannot be one is answered without being kept.
    try {
        if (gAjouterStations({station}) > 0) {
            gChargerUtilisateurGroupe();
        }
    } catch (const std::exception& e) {
        gSignalerEchecEcriture(gFichierDonnees(), QString::fromLocal8Bit(e.what()));
    }
    txtMessage->clear();
    QString texte = pstrMessageReponse;
    if (pblnAjouterCaractereDevantReponse && !texte.isEmpty()) {
        const QString prefixe = gParametres().caractereDevantReponseExpediteur;
        texte = QStringLiteral("\r\n\r\n") + prefixe
                + texte.replace(QStringLiteral("\r\n"), QStringLiteral("\r\n") + prefixe);
    }
    txtMessage->setPlainText(texte.replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
    choisirStation(station);
}

void frmPilvanor::supprimerHistorique(bool envoye)
{
    const QString cle = envoye ? QStringLiteral("SupprimerHistoriqueMessageEnvoye")
                               : QStringLiteral("SupprimerHistoriqueMessageRecu");
    if (gMessageBox(gParametres().fichierLangue, cle, MsgStyle::Question) != MsgResult::Yes) {
        return;
    }
    QApplication::setOverrideCursor(Qt::WaitCursor);
    try {
        gSupprimerHistorique(envoye);
    } catch (const std::exception& e) {
        gSignalerEchecEcriture(gFichierDonnees(), QString::fromLocal8Bit(e.what()));
    }
    QApplication::restoreOverrideCursor();
}

void frmPilvanor::ajouterPVSysTray()
{
    if (!picSysTray) {
        picSysTray = nomme(new QSystemTrayIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")), this), "picSysTray");
        picSysTray->setContextMenu(mnuSysTray);
        connect(picSysTray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason why) {
            if (why == QSystemTrayIcon::DoubleClick) {
                picSysTrayDoubleClic();
            } else if (why == QSystemTrayIcon::Trigger) {
                restaurer();
            }
        });
    }
    mMettreAJourPVSysTray();
    picSysTray->show();
}

void frmPilvanor::mMettreAJourPVSysTray()
{
    if (!picSysTray) {
        return;
    }
    picSysTray->setToolTip(gTexteSysTray(gParametres().fichierLangue, m_nbNouveauxMessages));
    picSysTray->setIcon(QIcon(m_nbNouveauxMessages > 0 ? QStringLiteral(":/icons/nouveau-message.png")
                                                       : QStringLiteral(":/icons/pilvanor.png")));
}

void frmPilvanor::mCapturerMessage()
{
    if (!m_capture) {
        return;
    }
    const ResultatCapture r = m_capture->mCapturerMessage();
    for (const RappelDeclenche& rappel : r.rappels) {
        gJouerFichierSon();
        afficherRappel(rappel);
    }
    if (r.nbNonReconnus != m_nbNonReconnusDits) {
        // Never captured, so never shown: the user must hear of them and of what brings them in.
        m_nbNonReconnusDits = r.nbNonReconnus;
        if (r.nbNonReconnus > 0) {
            staBarreStatut->showMessage(gMessageTexte(gParametres().fichierLangue,
                                                      QStringLiteral("MessagesTitreInconnu"),
                                                      {QString::number(r.nbNonReconnus), r.titreNonReconnu}));
        }
    }
    if (r.message) {
        rechargerHistoriques(TypeFenetre::HistoriqueRecu);
        // Once the message is stored, before it shows.
        gJouerFichierSon();
        mNotifierMessage(*r.message);
    }
    if (!r.lot.isEmpty()) {
        rechargerHistoriques(TypeFenetre::HistoriqueRecu);
        gJouerFichierSon();
        mNotifierLot(r.lot);
    }
}

void frmPilvanor::ouvrirRappel(const RappelDeclenche& rappel)
{
    auto* f = new frmMessage(TypeFenetre::Rappel);
    f->mstrExpediteur = QStringLiteral("Pilvanor Reminder");
    f->mstrDateHeure = rappel.moment;
    f->mstrMessage = rappel.texte;
    f->mstrCleRappel = rappel.cle;
    f->mvarRappel = rappel.champs;
    f->mCharger();
    f->setWindowTitle(QStringLiteral("Pilvanor Reminder"));
    devant(f);
}

void frmPilvanor::devant(QWidget* fenetre)
{
    fenetre->show();
    fenetre->raise();
    fenetre->activateWindow();
}

frmMessage* frmPilvanor::ouvrirNouveauMessage(const MessageCapture& message, const QList<EntreeHistorique>& lot)
{
    // A window of its own, as the group send window: it stays when the main window goes to the tray.
    auto* f = new frmMessage(TypeFenetre::NouveauMessage);
    f->mstrExpediteur = message.expediteur;
    f->mstrDateHeure = gFormaterDateHeureCle(message.cleHistorique);
    f->mstrMessage = message.texte;
    f->mstrDateHeurePremierMessage = message.cleHistorique;
    f->mNouveauxMessages = lot;
    // A backlog's senders are not checked: their addresses may have changed hands since they came.
    f->mstrAdressePair = lot.isEmpty() ? message.adresse : QString();
    f->mCharger();
    relierRepondre(f);
    m_fenetresNouveauxMessages.append(f);
    // A widget says it is destroyed before its guards are cleared.
    connect(f, &QObject::destroyed, this, [this](QObject* fenetre) {
        m_fenetresNouveauxMessages.removeIf(
            [fenetre](const QPointer<QWidget>& p) { return !p || static_cast<QObject*>(p.data()) == fenetre; });
        if (m_fenetresNouveauxMessages.isEmpty()) {
            messagesLus();
        }
    });
    return f;
}

void frmPilvanor::mNotifierMessage(const MessageCapture& message)
{
    const Parametres& p = gParametres();
    ++m_nbNouveauxMessages;
    mMettreAJourPVSysTray();
    const bool zone = zoneNotificationDisponible();
    const bool bulle = picSysTray && zone && QSystemTrayIcon::supportsMessages();
    const QString de = gLigneMessageDe(p.fichierLangue, message.description, message.expediteur);
    if (p.affichageMessage == AffichageMessage::InfoBulle && bulle) {
        m_bullesNonLues.append(message);
        picSysTray->showMessage(de.left(LongueurMaxTitreBulle), message.texte.left(LongueurMaxTexteBulle));
    } else if (p.affichageMessage == AffichageMessage::InfoBulle && !zone
               && notifierBureau({de, message.texte.left(LongueurMaxTexteBulle), {}})) {
        m_bullesNonLues.append(message);
    } else if (p.affichageMessage == AffichageMessage::UneSeuleFenetre) {
        if (!m_fenetreUnique) {
            m_fenetreUnique = ouvrirNouveauMessage(message);
        } else if (m_fenetreUnique->mObtenirHistoriqueMessage(m_fenetreUnique->mstrDateHeurePremierMessage) > 0) {
            m_fenetreUnique->mChargerListeUtilisateurDateHeure();
        }
        m_fenetreUnique->setWindowTitle(gMessageTexte(
            p.fichierLangue, gCleTitreNouveauMessage(int(qMax(qsizetype(1), m_fenetreUnique->historique().size())))));
        devant(m_fenetreUnique);
    } else {
        // A window per message, also when there is no tray to show a balloon.
        frmMessage* f = ouvrirNouveauMessage(message);
        f->setWindowTitle(gMessageTexte(p.fichierLangue, gCleTitreNouveauMessage(1)));
        devant(f);
    }
}

void frmPilvanor::mNotifierLot(const QList<MessageCapture>& lot)
{
    // However many waited, one window lists them in every display mode: a backlog must not open a window, nor a
    // balloon, per message.
    m_nbNouveauxMessages += int(lot.size());
    mMettreAJourPVSysTray();
    QList<EntreeHistorique> entrees;
    for (const MessageCapture& m : lot) {
        entrees.append({m.cleHistorique, m.expediteur, m.texte});
    }
    QPointer<frmMessage>& fenetre
        = gParametres().affichageMessage == AffichageMessage::UneSeuleFenetre ? m_fenetreUnique : m_fenetreLot;
    if (fenetre) {
        fenetre->mAjouterMessages(entrees);
    } else {
        fenetre = ouvrirNouveauMessage(lot.first(), entrees);
    }
    fenetre->setWindowTitle(
        gMessageTexte(gParametres().fichierLangue, gCleTitreNouveauMessage(int(fenetre->historique().size()))));
    devant(fenetre);
}

void frmPilvanor::picSysTrayDoubleClic()
{
    if (m_nbNouveauxMessages == 0) {
        restaurer();
        return;
    }
    const QList<MessageCapture> bulles = std::exchange(m_bullesNonLues, {});
    for (const MessageCapture& m : bulles) {
        frmMessage* f = ouvrirNouveauMessage(m);
        f->setWindowTitle(gMessageTexte(gParametres().fichierLangue, gCleTitreNouveauMessage(1)));
    }
    for (const QPointer<QWidget>& f : std::as_const(m_fenetresNouveauxMessages)) {
        if (f) {
            devant(f);
        }
    }
    messagesLus();
}

void frmPilvanor::messagesLus()
{
    m_nbNouveauxMessages = 0;
    m_bullesNonLues.clear();
    mMettreAJourPVSysTray();
    if (m_rappelsNonLus.isEmpty()) {
        m_notificationBureau->fermer();
    }
}

void frmPilvanor::mSupprimerPVSysTray()
{
    if (picSysTray) {
        picSysTray->hide();
        delete picSysTray;
        picSysTray = nullptr;
    }
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
        destinataireModifie(); // the quick group's caption
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
        ajouterPVSysTray();
    } else {
        mSupprimerPVSysTray();
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
    if (event->type() == QEvent::WindowStateChange && isMinimized() && gParametres().minimiserSysTray && picSysTray
        && QSystemTrayIcon::isSystemTrayAvailable()) {
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
    mSupprimerPVSysTray();
    m_hotKey->unregisterHotKey();
}

} // namespace pv
