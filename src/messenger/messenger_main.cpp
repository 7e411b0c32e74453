// pilvanor-messenger: the message service (see Service.h).
#include "messenger/Names.h"
#include "messenger/Service.h"
#include "messenger/Transport.h"
#include "messenger/Workgroup.h"

#include <QDir>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

enum Exit { ExitStopped = 0, ExitFailed = 1, ExitUsage = 2, ExitSpoolBusy = 3 };

const char* const Usage = R"(Usage: pilvanor-messenger [OPTION]...
Receives "net send" messages and writes each as a pop-up into the pop-up spool.

  --port N           TCP port of the session service (default: $PILVANOR_SMB_PORT, else 139; 0: any free port)
  --bind ADDRESS     listen on this IPv4 address only (default: every address)
  --no-udp           neither answer name queries (UDP 137) nor receive domain broadcasts (UDP 138)
  --spool DIR        the pop-up spool (default: $XDG_STATE_HOME/pilvanor/popups)
  --name NAME        one more name to answer to, repeatable; the host name and the aliases listed in
                     DIR/names are answered to as well
  --workgroup WG     the workgroup whose domain broadcasts are received (default: Samba's workgroup, else WORKGROUP)
  --dos-charset CP   code page of names and texts on the wire: CP850 (default), CP437 or ASCII
  --foreground       stay in the foreground (default: go to the background once the ports are bound)
  --help             show this and exit

Exit status: 0 stopped by SIGTERM or SIGINT, 1 cannot receive, 2 bad usage,
3 another pilvanor-messenger already serves the spool.
)";

pv::MessengerService* g_service = nullptr;

void onSignal(int)
{
    if (g_service) {
        g_service->stop();
    }
}

int usageError(const QString& why)
{
    std::fprintf(stderr, "pilvanor-messenger: %s\nTry 'pilvanor-messenger --help'.\n", qPrintable(why));
    return ExitUsage;
}

// Double fork: the service is no session leader, so it never gets a terminal back. The first parent reports the
// middle child's status, so that a failing fork still shows.
void daemonise()
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        std::fprintf(stderr, "pilvanor-messenger: cannot go to the background: %s\n", strerror(errno));
        ::_exit(ExitFailed);
    }
    if (child > 0) {
        int status = 0;
        ::waitpid(child, &status, 0);
        ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : ExitFailed);
    }
    ::setsid();
    const pid_t grandchild = ::fork();
    if (grandchild != 0) {
        ::_exit(grandchild > 0 ? ExitStopped : ExitFailed);
    }
    (void)!::chdir("/");
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int fd = 0; null >= 0 && fd <= 2; ++fd) {
        ::dup2(null, fd);
    }
    if (null > 2) {
        ::close(null);
    }
}

} // namespace

int main(int argc, char** argv)
{
    pv::ServiceOptions options;
    options.port = pv::defaultSmbPort();
    options.spoolFolder = pv::PopupSpool::defaultFolder();
    options.language = pv::popupLanguageFromEnvironment();
    options.hostName = pv::localStationName();
    options.workgroup = pv::machineWorkgroup();
    bool foreground = false;

    for (int i = 1; i < argc; ++i) {
        QString option = QString::fromLocal8Bit(argv[i]);
        QString value;
        const qsizetype equals = option.indexOf(QLatin1Char('='));
        if (option.startsWith(QLatin1String("--")) && equals > 0) {
            value = option.mid(equals + 1);
            option.truncate(equals);
        }
        const bool takesValue
            = QStringList {"--port", "--bind", "--spool", "--name", "--workgroup", "--dos-charset"}.contains(option);
        if (takesValue && equals < 0) {
            if (++i >= argc) {
                return usageError(QStringLiteral("%1 needs a value").arg(option));
            }
            value = QString::fromLocal8Bit(argv[i]);
        } else if (!takesValue && equals > 0) {
            return usageError(QStringLiteral("%1 takes no value").arg(option));
        }

        if (option == QLatin1String("--help")) {
            std::fputs(Usage, stdout);
            return ExitStopped;
        } else if (option == QLatin1String("--foreground")) {
            foreground = true;
        } else if (option == QLatin1String("--no-udp")) {
            options.nameServicePort = options.datagramPort = -1;
        } else if (option == QLatin1String("--port")) {
            bool ok = false;
            const uint port = value.toUInt(&ok);
            if (!ok || port > 0xFFFF) {
                return usageError(QStringLiteral("\"%1\" is not a port number").arg(value));
            }
            options.port = static_cast<uint16_t>(port);
        } else if (option == QLatin1String("--bind")) {
            options.bindAddress = value;
        } else if (option == QLatin1String("--spool")) {
            options.spoolFolder = value;
        } else if (option == QLatin1String("--name")) {
            options.names << value; // checked below, once the code page is known
        } else if (option == QLatin1String("--workgroup")) {
            options.workgroup = value.trimmed();
        } else if (option == QLatin1String("--dos-charset")) {
            const auto codePage = pv::codec::oemCodePageByName(value.toStdString());
            if (!codePage) {
                return usageError(QStringLiteral("unknown code page \"%1\"").arg(value));
            }
            options.codePage = *codePage;
        } else {
            return usageError(QStringLiteral("unknown option %1").arg(option));
        }
    }
    for (const QString& name : options.names) {
        if (pv::ServiceNames::normalized(name, options.codePage).isEmpty()) {
            return usageError(QStringLiteral("\"%1\" cannot be a NetBIOS name").arg(name));
        }
    }
    if (options.workgroup.isEmpty()) {
        return usageError(QStringLiteral("the workgroup is empty"));
    }
    if (options.spoolFolder.isEmpty()) {
        return usageError(QStringLiteral("no spool folder: set HOME or XDG_STATE_HOME, or give --spool"));
    }
    // Absolute before the service leaves the working folder.
    options.spoolFolder = QDir(options.spoolFolder).absolutePath();

    pv::MessengerService service(options);
    QString error;
    const auto started = service.start(&error);
    if (started != pv::MessengerService::StartResult::Ok) {
        std::fprintf(stderr, "pilvanor-messenger: %s\n", qPrintable(error));
        return started == pv::MessengerService::StartResult::SpoolBusy ? ExitSpoolBusy : ExitFailed;
    }
    for (const QString& warning : service.warnings()) {
        std::fprintf(stderr, "pilvanor-messenger: %s\n", qPrintable(warning));
    }
    std::fprintf(stderr,
                 "pilvanor-messenger: TCP port %u, names %s, spool %s\n",
                 unsigned(service.port()),
                 qPrintable(service.names().join(QLatin1String(", "))),
                 qPrintable(options.spoolFolder));

    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    g_service = &service;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    if (!foreground) {
        daemonise();
    }
    const bool ok = service.run();
    g_service = nullptr;
    return ok ? ExitStopped : ExitFailed;
}
