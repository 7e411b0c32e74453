#include "common/Language.h"
#include "common/LecteurSon.h"
#include "common/MessageBoxes.h"
#include "common/Paths.h"
#include "engine/LigneCommande.h"
#include "engine/Settings.h"
#include "engine/SingleInstance.h"
#include "engine/frmPilvanor.h"

#include <QApplication>
#include <QFileInfo>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_signalPipe[2] = {-1, -1};

void onTerminate(int)
{
    const char c = 1;
    [[maybe_unused]] const auto n = ::write(g_signalPipe[0], &c, 1);
}

// SIGTERM and SIGINT end the program as the Quit menu does, so that the window's state is kept.
void quitOnSignals(pv::frmPilvanor& fenetre)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) != 0) {
        return;
    }
    auto* notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, &fenetre);
    QObject::connect(notifier, &QSocketNotifier::activated, &fenetre, [&fenetre] {
        char c;
        [[maybe_unused]] const auto n = ::read(g_signalPipe[1], &c, 1);
        // Nobody may be there to answer a box now: what the shut-down has to say goes to stderr, and a box that
        // is already open ends with the program instead of holding it up.
        pv::setMessageBoxPresenter({});
        fenetre.quitter();
        QCoreApplication::quit();
    });
    struct sigaction sa = {};
    sa.sa_handler = onTerminate;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    // The icons live in the static pv_gui library, whose resource registration the linker would otherwise drop.
    Q_INIT_RESOURCE(resources);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QLatin1String(pv::TitreApplication));
    QApplication::setApplicationVersion(QStringLiteral(PV_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("org.pilvanor.Pilvanor"));
    // The window may live in the tray: the program ends by its Quit menus, not when no window shows.
    QApplication::setQuitOnLastWindowClosed(false);
    pv::installMessageBoxes();
    pv::installLecteurSon();

    pv::Demande demande;
    try {
        demande = pv::gLireLigneCommande(QApplication::arguments());
    } catch (const std::invalid_argument& e) {
        std::fprintf(stderr, "pilvanor: %s\n", e.what());
        return 2;
    }
    if (demande.action == pv::Demande::Action::Aide) {
        std::fputs(qPrintable(pv::gUsageLigneCommande()), stdout);
        return 0;
    }

    pv::gDefinirFichierParametres(pv::gCheminFichierParametres());
    if (pv::gFichierParametres().isEmpty()) {
        std::fprintf(stderr, "pilvanor: neither HOME nor XDG_CONFIG_HOME is set; settings will not be kept\n");
    }

    // A second start asks the first to come forward and ends, touching no setting.
    pv::SingleInstance instance(QFileInfo(pv::gFichierParametres()).absolutePath());
    if (!instance.acquire()) {
        if (!instance.notifyFirst(demande)) {
            std::fprintf(stderr, "pilvanor: another instance is running but did not answer\n");
            return 1;
        }
        return 0;
    }

    pv::frmPilvanor fenetre;
    QObject::connect(&instance, &pv::SingleInstance::demandeRecue, &fenetre, &pv::frmPilvanor::mTraiterDemande);
    quitOnSignals(fenetre);
    fenetre.charger();
    if (QApplication::arguments().size() > 1) {
        fenetre.mTraiterDemande(demande);
    }
    return app.exec();
}
