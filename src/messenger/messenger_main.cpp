// pilvanor-messenger: the message service (see Service.h).
#include "messenger/Names.h"
#include "messenger/Service.h"
#include "messenger/Transport.h"
#include "messenger/Workgroup.h"
#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <string>
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

int usageError(const std::string& why)
{
    std::fprintf(stderr, "pilvanor-messenger: %s\nTry 'pilvanor-messenger --help'.\n", why.c_str());
    return ExitUsage;
}

std::string absolutePath(const std::string& path)
{
    if (path.starts_with('/')) {
        return path;
    }
    char here[PATH_MAX];
    return ::getcwd(here, sizeof here) != nullptr ? std::string(here) + '/' + path : path;
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

static int run(int argc, char** argv)
{
    pv::ServiceOptions options;
    options.port = pv::defaultSmbPort();
    options.spoolFolder = pv::PopupSpool::defaultFolder();
    options.language = pv::popupLanguageFromEnvironment();
    options.hostName = pv::localStationName();
    options.workgroup = pv::machineWorkgroup();
    bool foreground = false;

    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        std::string value;
        const size_t equals = option.find('=');
        const bool inline_ = option.starts_with("--") && equals != std::string::npos;
        if (inline_) {
            value = option.substr(equals + 1);
            option.resize(equals);
        }
        const char* const valued[] = {"--port", "--bind", "--spool", "--name", "--workgroup", "--dos-charset"};
        const bool takesValue = std::find(std::begin(valued), std::end(valued), option) != std::end(valued);
        if (takesValue && !inline_) {
            if (++i >= argc) {
                return usageError(option + " needs a value");
            }
            value = argv[i];
        } else if (!takesValue && inline_) {
            return usageError(option + " takes no value");
        }

        if (option == "--help") {
            std::fputs(Usage, stdout);
            return ExitStopped;
        } else if (option == "--foreground") {
            foreground = true;
        } else if (option == "--no-udp") {
            options.nameServicePort = options.datagramPort = -1;
        } else if (option == "--port") {
            unsigned port = 0;
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), port);
            if (value.empty() || error != std::errc() || end != value.data() + value.size() || port > 0xFFFF) {
                return usageError('"' + value + "\" is not a port number");
            }
            options.port = static_cast<uint16_t>(port);
        } else if (option == "--bind") {
            options.bindAddress = value;
        } else if (option == "--spool") {
            options.spoolFolder = value;
        } else if (option == "--name") {
            options.names.push_back(value); // checked below, once the code page is known
        } else if (option == "--workgroup") {
            options.workgroup = pv::codec::trimmedText(value);
        } else if (option == "--dos-charset") {
            const auto codePage = pv::codec::oemCodePageByName(value);
            if (!codePage) {
                return usageError("unknown code page \"" + value + '"');
            }
            options.codePage = *codePage;
        } else {
            return usageError("unknown option " + option);
        }
    }
    for (const std::string& name : options.names) {
        if (pv::ServiceNames::normalized(name, options.codePage).empty()) {
            return usageError('"' + name + "\" cannot be a NetBIOS name");
        }
    }
    if (options.workgroup.empty()) {
        return usageError("the workgroup is empty");
    }
    if (options.spoolFolder.empty()) {
        return usageError("no spool folder: set HOME or XDG_STATE_HOME, or give --spool");
    }
    // Absolute before the service leaves the working folder.
    options.spoolFolder = absolutePath(options.spoolFolder);

    pv::MessengerService service(options);
    const pv::Status started = service.start();
    if (!started) {
        std::fprintf(stderr, "pilvanor-messenger: %s\n", started.error().text.c_str());
        return started.code() == int(pv::MessengerService::StartResult::SpoolBusy) ? ExitSpoolBusy : ExitFailed;
    }
    for (const std::string& warning : service.warnings()) {
        std::fprintf(stderr, "pilvanor-messenger: %s\n", warning.c_str());
    }
    std::string names;
    for (const std::string& name : service.names()) {
        names += (names.empty() ? "" : ", ") + name;
    }
    std::fprintf(stderr,
                 "pilvanor-messenger: TCP port %u, names %s, spool %s\n",
                 unsigned(service.port()),
                 names.c_str(),
                 options.spoolFolder.c_str());

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

int main(int argc, char** argv)
{
    // Whatever escapes is said, never a bare abort.
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", "pilvanor-messenger", e.what());
    } catch (...) {
        std::fprintf(stderr, "%s: unexpected failure\n", "pilvanor-messenger");
    }
    return 1;
}
