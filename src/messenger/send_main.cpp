// pilvanor-send: "net send" for scripts and tests.
#include "messenger/Transport.h"
#include "messenger/Workgroup.h"
#include "messenger/codec/ResultCodes.h"
#include "messenger/codec/Utf8.h"

#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr size_t kMaxInput = size_t(64) * 1024; // far above what a message holds: the send then says it is too long

const char* const kUsage
    = "Usage: pilvanor-send [--port N] [--from NAME] [--dos-charset CP] [--timeout MS] STATION [TEXT...]\n"
      "Sends a message to STATION (a NetBIOS name, a host name, an IPv4 address, or DOMAIN* for every\n"
      "station of a domain) over the SMB messenger protocol. The TEXT words, joined by blanks, or else\n"
      "standard input up to its end, make the message.\n"
      "\n"
      "  --port N          TCP port of the receiver (default 139, or $PILVANOR_SMB_PORT)\n"
      "  --from NAME       sender name (default: this host's name in upper case)\n"
      "  --dos-charset CP  code page of the text on the wire: CP850 (default), CP437, ASCII\n"
      "  --timeout MS      time-out of each step: look-up, connection, each reply\n"
      "  --list [GROUP]    list the stations of a workgroup (default: this machine's) instead of sending\n"
      "  --help            this text\n"
      "\n"
      "Exit status: 0 delivered (or broadcast), 1 not delivered, 2 usage error or invalid name or text.\n";

int usageError(const std::string& message)
{
    std::fprintf(stderr, "pilvanor-send: %s\nTry 'pilvanor-send --help'.\n", message.c_str());
    return kExitUsage;
}

template<class T>
std::optional<T> number(std::string_view text)
{
    T value {};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::string> readStandardInput()
{
    if (::isatty(STDIN_FILENO)) {
        std::fprintf(stderr, "Type your message, ending it with a Control-D\n");
    }
    std::string input;
    char buffer[4096];
    while (input.size() <= kMaxInput) {
        const size_t n = std::fread(buffer, 1, sizeof buffer, stdin);
        input.append(buffer, n);
        if (n < sizeof buffer) {
            break;
        }
    }
    if (std::ferror(stdin)) {
        return std::nullopt;
    }
    // Taken as UTF-8: a byte that is not becomes '?' on the wire.
    return input;
}

} // namespace

static int run(int argc, char** argv)
{
    const std::vector<std::string> args(argv + 1, argv + argc);
    pv::SendOptions options;
    std::string from;
    std::vector<std::string> positional;
    bool list = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--" || !arg.starts_with("--")) {
            positional.assign(args.begin() + std::ptrdiff_t(arg == "--" ? i + 1 : i), args.end());
            break;
        }
        if (arg == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == "--list") {
            list = true;
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string option = arg.substr(0, equals);
        std::string value;
        if (equals != std::string::npos) {
            value = arg.substr(equals + 1);
        } else if (i + 1 < args.size()) {
            value = args[++i];
        } else {
            return usageError(option + " needs a value");
        }
        if (option == "--port") {
            const auto port = number<unsigned>(value);
            if (!port || *port == 0 || *port > 0xFFFF) {
                return usageError("invalid port: " + value);
            }
            options.port = uint16_t(*port);
        } else if (option == "--from") {
            from = value;
        } else if (option == "--dos-charset") {
            const auto codePage = pv::codec::oemCodePageByName(value);
            if (!codePage) {
                return usageError("unknown code page: " + value);
            }
            options.codePage = *codePage;
        } else if (option == "--timeout") {
            const auto ms = number<int>(value);
            if (!ms || *ms <= 0) {
                return usageError("invalid time-out: " + value);
            }
            options.resolveTimeoutMs = options.connectTimeoutMs = options.replyTimeoutMs = *ms;
        } else {
            return usageError("unknown option: " + option);
        }
    }
    if (list) {
        const std::string group
            = positional.empty() ? pv::machineWorkgroup() : pv::codec::toUpperText(positional.front());
        const std::vector<std::string> stations = pv::listWorkgroupStations(group, options.resolveTimeoutMs);
        for (const std::string& station : stations) {
            std::printf("%s\n", station.c_str());
        }
        return stations.empty() ? kExitFailed : 0;
    }
    if (positional.empty()) {
        return usageError("no station given");
    }
    const std::string station = positional.front();
    std::string text;
    for (size_t i = 1; i < positional.size(); ++i) {
        text += (i > 1 ? " " : "") + positional[i];
    }
    if (positional.size() == 1) {
        const auto input = readStandardInput();
        if (!input) {
            std::fprintf(stderr, "pilvanor-send: cannot read the standard input\n");
            return kExitFailed;
        }
        text = *input;
    }

    const pv::Status sent = pv::netMessageBufferSend(options, station, from, text);
    if (sent) {
        std::printf(station.ends_with('*') ? "Message broadcast to %s.\n" : "Message delivered to %s.\n",
                    station.c_str());
        return 0;
    }
    const int code = sent.code();
    std::fprintf(
        stderr, "Message not delivered to %s: %s (%d).\n", station.c_str(), pv::netMessageResultText(code), code);
    if (!sent.error().text.empty()) {
        std::fprintf(stderr, "  %s\n", sent.error().text.c_str());
    }
    const bool invalid = code == pv::codec::netapi::InvalidParameter || code == pv::codec::netapi::InvalidName;
    return invalid ? kExitUsage : kExitFailed;
}

int main(int argc, char** argv)
{
    // Whatever escapes is said, never a bare abort.
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", "pilvanor-send", e.what());
    } catch (...) {
        std::fprintf(stderr, "%s: unexpected failure\n", "pilvanor-send");
    }
    return 1;
}
