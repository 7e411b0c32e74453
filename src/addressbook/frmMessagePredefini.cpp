#include "addressbook/frmMessagePredefini.h"

#include "addressbook/CarnetAdresses.h"
#include "common/CadreEdition.h"
#include "common/Controles.h"
#include "common/Fenetres.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Saisie.h"
#include "common/TexteSaisi.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QAction>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace pv {

frmMessagePredefini::frmMessagePredefini(QWidget* parent)
    : DialogueEdition(parent, QStringLiteral("PositionTailleFenetreMessagePredefini"))
{
    setObjectName(QStringLiteral("frmMessagePredefini"));
    setWindowTitle(QStringLiteral("Messages prédéfinis"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    lstMessagePredefini = gCreerControle<QListWidget>(this, "lstMessagePredefini");
    lstMessagePredefini->setUniformItemSizes(true);
    cmdAjouter = gCreerControle<QPushButton>(this, "cmdAjouter", QStringLiteral("&Ajouter"));
    cmdModifier = gCreerControle<QPushButton>(this, "cmdModifier", QStringLiteral("&Modifier"));
    cmdSupprimer = gCreerControle<QPushButton>(this, "cmdSupprimer", QStringLiteral("&Supprimer"));
    cmdFermer = gCreerControle<QPushButton>(this, "cmdFermer", QStringLiteral("&Fermer"));

    fraMessagePredefini = gCreerControle<QGroupBox>(this, "fraMessagePredefini", QStringLiteral("Message"));
    txtMessage = gCreerControle<QPlainTextEdit>(fraMessagePredefini, "txtMessage");
    txtMessage->setTabChangesFocus(true);
    gAppliquerPolice(txtMessage);
    gSelectionnerAuFocus(txtMessage);
    cmdInsererCaractereSpecial = gCreerControle<QPushButton>(
        fraMessagePredefini, "cmdInsererCaractereSpecial", QStringLiteral("&Caractères spéciaux"));
    cmdOK = gCreerControle<QPushButton>(fraMessagePredefini, "cmdOK", QStringLiteral("OK"));
    cmdAnnuler = gCreerControle<QPushButton>(fraMessagePredefini, "cmdAnnuler", QStringLiteral("Annuler"));

    mnuCaracteresSpeciaux
        = gCreerControle<QMenu>(this, "mnuCaracteresSpeciaux", QString::fromUtf8("Caractères spéciaux"));
    const char* const libelles[] = {"Description de l'utilisateur",
                                    "Station de l'utilisateur",
                                    "Adresse IP de l'utilisateur",
                                    nullptr,
                                    "Votre adresse IP",
                                    nullptr,
                                    "Date et heure",
                                    "Date",
                                    "Heure"};
    const QStringList& caracteres = gCaracteresSpeciaux();
    for (int i = 0; i < int(std::size(libelles)); ++i) {
        if (!libelles[i]) {
            mnuCaracteresSpeciaux->addSeparator();
            mnuCaractereSpecial.append(nullptr);
            continue;
        }
        // A menu array: the items share the name and carry their position.
        QAction* item
            = gNommer(mnuCaracteresSpeciaux->addAction(QString::fromUtf8(libelles[i])), "mnuCaractereSpecial");
        item->setProperty("index", i);
        mnuCaractereSpecial.append(item);
        connect(item, &QAction::triggered, this, [this, texte = caracteres.value(i)] {
            // Over the selection, or at the caret.
            txtMessage->insertPlainText(texte);
            txtMessage->setFocus(Qt::PopupFocusReason);
        });
    }
    connect(cmdInsererCaractereSpecial, &QPushButton::clicked, this, [this] {
        mnuCaracteresSpeciaux->popup(
            cmdInsererCaractereSpecial->mapToGlobal(QPoint(0, cmdInsererCaractereSpecial->height())));
    });

    auto* boutonsCadre = new QVBoxLayout;
    boutonsCadre->addWidget(cmdInsererCaractereSpecial);
    boutonsCadre->addStretch();
    boutonsCadre->addWidget(cmdOK);
    boutonsCadre->addWidget(cmdAnnuler);
    auto* editeur = new QHBoxLayout(fraMessagePredefini);
    editeur->addWidget(txtMessage, 1);
    editeur->addLayout(boutonsCadre);
    txtMessage->setMinimumHeight(110);
    CadreEdition::disposer(
        this, lstMessagePredefini, {cmdAjouter, cmdModifier, cmdSupprimer}, cmdFermer, fraMessagePredefini);

    installerCadre(
        lstMessagePredefini, fraMessagePredefini, cmdAjouter, cmdModifier, cmdSupprimer, {}, nullptr, cmdAnnuler);
    connect(cmdOK, &QPushButton::clicked, this, &frmMessagePredefini::enregistrer);
    connect(cmdFermer, &QPushButton::clicked, this, &QDialog::reject);

    setMinimumSize(460, 220);
    resize(600, 260);
    gAfficherLibelle(langue(), this);
    remplirListe();
}

void frmMessagePredefini::remplirListe(const QString& cleASelectionner)
{
    lstMessagePredefini->clear();
    int choisi = 0;
    for (const MessagePredefini& m : gMessagesPredefinis()) {
        auto* ligne = new QListWidgetItem(m.texte, lstMessagePredefini);
        ligne->setData(Qt::UserRole, m.cle);
        if (m.cle == cleASelectionner) {
            choisi = lstMessagePredefini->count() - 1;
        }
    }
    m_edition->selectionnerLigne(choisi);
    mettreAJourBoutons();
}

void frmMessagePredefini::recharger()
{
    gChargerMessagePredefini();
}

void frmMessagePredefini::ajouter()
{
    txtMessage->clear();
    m_cleChargee.clear();
    ouvrirCadre(true, txtMessage);
}

void frmMessagePredefini::modifier()
{
    const int ligne = m_edition->ligneSelectionnee();
    if (ligne < 0) {
        return;
    }
    const QListWidgetItem* item = lstMessagePredefini->item(ligne);
    txtMessage->setPlainText(gEnLF(gDecoderTexte(item->text())));
    m_cleChargee = item->data(Qt::UserRole).toString();
    ouvrirCadre(false, txtMessage);
}

void frmMessagePredefini::enregistrer()
{
    const QString texte = txtMessage->toPlainText();
    if (texte.isEmpty()) {
        m_edition->refuser(txtMessage, langue(), "MessageObligatoire");
        return;
    }
    QString cle;
    try {
        cle = gEnregistrerMessagePredefini(m_cleChargee, texte, gMaintenant());
    } catch (const std::exception& e) {
        signalerEchecEcriture(e);
        return;
    }
    tableModifiee();
    remplirListe(cle);
    fermerCadre();
}

void frmMessagePredefini::supprimer()
{
    supprimerLigne("SupprimerMessagePredefini", [this](int ligne) {
        gSupprimerMessagePredefini(lstMessagePredefini->item(ligne)->data(Qt::UserRole).toString());
    });
}

} // namespace pv
