// The main window's ties to the desktop: requests of later starts and the hot key where no key can be grabbed.
#include "common/DataFile.h"
#include "common/Language.h"
#include "engine/ChoixDestinataire.h"
#include "engine/GlobalHotKey.h"
#include "engine/LigneCommande.h"
#include "engine/RaccourciPortail.h"
#include "engine/Settings.h"
#include "engine/frmPilvanor.h"

#include <QComboBox>
#include <QGuiApplication>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTimer>
#include <QWindow>

namespace pv {

void frmPilvanor::relierBureau()
{
    m_portail = new RaccourciPortail(QDBusConnection::sessionBus(), this);
    connect(m_portail, &RaccourciPortail::activated, this, &frmPilvanor::restaurer);
}

void frmPilvanor::reduireUneFoisAffichee()
{
    if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        showMinimized();
        return;
    }
    // A Wayland compositor ignores a minimise asked before the window's first frame.
    show();
    auto* attente = new QTimer(this);
    attente->setInterval(20);
    connect(attente, &QTimer::timeout, this, [this, attente] {
        if (windowHandle() && windowHandle()->isExposed()) {
            attente->deleteLater();
            showMinimized();
        }
    });
    attente->start();
}

void frmPilvanor::enregistrerRaccourci(const std::optional<HotKey>& touches)
{
    const bool valide = touches && touches->virtualKey != 0;
    if (!gSessionWayland()) {
        if (valide) {
            m_hotKey->registerHotKey(*touches);
        } else {
            m_hotKey->unregisterHotKey();
        }
        return;
    }
    // Under Wayland an X11 grab only sees keys meant for this program's own windows: the desktop decides.
    m_hotKey->unregisterHotKey();
    if (valide) {
        m_portail->enregistrer(*touches, gTexteMessage(QStringLiteral("DescriptionRaccourciBureau")));
    } else {
        m_portail->liberer();
    }
}

void frmPilvanor::mTraiterDemande(const Demande& demande)
{
    if (!demande.jeton.isEmpty()) {
        // The token the desktop gave the later start lets this window come forward; Qt takes it from there.
        qputenv("XDG_ACTIVATION_TOKEN", demande.jeton);
    }
    restaurer();
    if (demande.action != Demande::Action::NouveauMessage) {
        return;
    }
    if (demande.station.isEmpty()) {
        cboDestinataire->setFocus();
        return;
    }
    m_destinataire->choisirStation(demande.station);
    txtMessage->setFocus();
}

} // namespace pv
