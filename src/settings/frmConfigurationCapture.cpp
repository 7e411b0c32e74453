#include "settings/frmConfigurationCapture.h"
#include "common/MessengerText.h"

#include "common/Controles.h"
#include "common/CurseurAttente.h"
#include "common/ErrorReport.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/NetworkProbes.h"
#include "common/Saisie.h"
#include "engine/Settings.h"
#include "messenger/Spool.h"
#include "settings/ConfigurationCapture.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace pv {

frmConfigurationCapture::frmConfigurationCapture(QWidget* parent)
    : QDialog(parent)
    , dossierSpool(qtext(PopupSpool::defaultFolder()))
{
    setObjectName(QStringLiteral("frmConfigurationCapture"));
    setWindowTitle(QStringLiteral("Configuration de la capture"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    lblExplication = gCreerControle<QLabel>(this, "lblExplication");
    lblExplication->setWordWrap(true);
    lblStation = gCreerControle<QLabel>(this, "lblStation", QStringLiteral("&Station"));
    txtStation = gCreerControle<QLineEdit>(this, "txtStation");
    lblStation->setBuddy(txtStation);
    cmdDebuter = gCreerControle<QPushButton>(this, "cmdDebuter", QStringLiteral("&Débuter"));
    cmdAnnuler = gCreerControle<QPushButton>(this, "cmdAnnuler", QStringLiteral("Annuler"));
    cmdDebuter->setDefault(true);

    auto* station = new QHBoxLayout;
    station->addWidget(lblStation);
    station->addWidget(txtStation, 1);
    auto* boutons = new QHBoxLayout;
    boutons->addStretch();
    boutons->addWidget(cmdDebuter);
    boutons->addWidget(cmdAnnuler);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblExplication);
    layout->addLayout(station);
    layout->addStretch();
    layout->addLayout(boutons);
    setMinimumWidth(380);

    gZoneStation(txtStation);
    gSelectionnerAuFocus(txtStation);
    connect(txtStation, &QLineEdit::textChanged, this, &frmConfigurationCapture::mettreAJourDebuter);
    connect(cmdDebuter, &QPushButton::clicked, this, &frmConfigurationCapture::cmdDebuter_Click);
    connect(cmdAnnuler, &QPushButton::clicked, this, &frmConfigurationCapture::reject);

    gAfficherLibelle(gParametres().fichierLangue, this);
    txtStation->setText(gObtenirNomHote().toUpper());
    mettreAJourDebuter();
}

frmConfigurationCapture::~frmConfigurationCapture()
{
    if (m_envoi.joinable()) {
        m_envoi.join();
    }
}

void frmConfigurationCapture::mettreAJourDebuter()
{
    cmdDebuter->setEnabled(!envoiEnCours() && !txtStation->text().isEmpty());
    cmdAnnuler->setEnabled(!envoiEnCours());
}

void frmConfigurationCapture::reject()
{
    // A send cannot be called back: the window waits for its outcome.
    if (!envoiEnCours()) {
        QDialog::reject();
    }
}

void frmConfigurationCapture::cmdDebuter_Click()
{
    const QString station = txtStation->text();
    if (station.isEmpty() || envoiEnCours()) {
        return;
    }
    m_attente.emplace();
    const int delai = gParametres().delaiAttente;
    // Off the window thread: the ping and the send may each take seconds.
    m_envoi = std::thread([this, station, delai] {
        const int code = gEnvoyerMessageTest(station, delai);
        QMetaObject::invokeMethod(
            this, [this, station, code] { envoiTermine(station, code); }, Qt::QueuedConnection);
    });
    mettreAJourDebuter();
}

void frmConfigurationCapture::envoiTermine(const QString& station, int code)
{
    m_envoi.join();
    m_attente.reset();
    mettreAJourDebuter();
    if (code != 0) {
        const MessageEchec echec = gMessageEchecEnvoiTest(code, station);
        gMessageBox(gParametres().fichierLangue, echec.cle, MsgStyle::Exclamation, echec.champs);
        Q_EMIT termine(false);
        return;
    }
    Q_EMIT termine(mObtenirInfoFenetreMessenger());
}

bool frmConfigurationCapture::mObtenirInfoFenetreMessenger()
{
    const QString langue = gParametres().fichierLangue;
    bool appris = false;
    try {
        const CurseurAttente attente;
        appris = gApprendreFenetreMessenger(PopupSpool(stdText(dossierSpool)));
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("frmConfigurationCapture.mObtenirInfoFenetreMessenger"), e);
        return false;
    }
    if (!appris) {
        gMessageBox(langue, QStringLiteral("ConfigurationCaptureProbleme"), MsgStyle::Exclamation);
        return false;
    }
    gMessageBox(langue, QStringLiteral("ConfigurationCaptureTerminee"), MsgStyle::Information);
    accept();
    return true;
}

} // namespace pv
