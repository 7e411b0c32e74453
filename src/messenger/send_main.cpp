// pilvanor-send: "net send" for scripts and tests.
#include "messenger/Transport.h"
#include "messenger/Workgroup.h"
#include "messenger/codec/ResultCodes.h"

#include <QString>
#include <QStringList>

#include <cstdio>
#include <optional>
#include <unistd.h>

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr size_t kMaxInput = 64 * 1024; // far above what a message holds: the send then says it is too long

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

int usageError(const QString& message)
{
    std::fprintf(stderr, "pilvanor-send: %s\nTry 'pilvanor-send --help'.\n", qPrintable(message));
    return kExitUsage;
}

std::optional<QString> readStandardInput()
{
    if (::isatty(STDIN_FILENO)) {
        std::fprintf(stderr, "Type your message, ending it with a Control-D\n");
    }
    QByteArray input;
    char buffer[4096];
    while (size_t(input.size()) <= kMaxInput) {
        const size_t n = std::fread(buffer, 1, sizeof buffer, stdin);
        input.append(buffer, qsizetype(n));
        if (n < sizeof buffer) {
            break;
        }
    }
    if (std::ferror(stdin)) {
        return std::nullopt;
    }
    return QString::fromLocal8Bit(input);
}

} // namespace

int main(int argc, char** argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i) {
        args.append(QString::fromLocal8Bit(argv[i]));
    }
    pv::SendOptions options;
    QString from;
    QStringList positional;
    bool list = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (arg == QLatin1String("--") || !arg.startsWith(QLatin1String("--"))) {
            positional = args.mid(arg == QLatin1String("--") ? i + 1 : i);
            break;
        }
        if (arg == QLatin1String("--help")) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == QLatin1String("--list")) {
            list = true;
            continue;
        }
        const qsizetype equals = arg.indexOf(u'=');
        const QString option = arg.left(equals);
        QString value;
        if (equals >= 0) {
            value = arg.mid(equals + 1);
        } else if (i + 1 < args.size()) {
            value = args[++i];
        } else {
            return usageError(QStringLiteral("%1 needs a value").arg(option));
        }
        bool ok = false;
        if (option == QLatin1String("--port")) {
            const uint port = value.toUInt(&ok);
            if (!ok || port == 0 || port > 0xFFFF) {
                return usageError(QStringLiteral("invalid port: %1").arg(value));
            }
            options.port = uint16_t(port);
        } else if (option == QLatin1String("--from")) {
            from = value;
        } else if (option == QLatin1String("--dos-charset")) {
            const auto codePage = pv::codec::oemCodePageByName(value.toStdString());
            if (!codePage) {
                return usageError(QStringLiteral("unknown code page: %1").arg(value));
            }
            options.codePage = *codePage;
        } else if (option == QLatin1String("--timeout")) {
            const int ms = value.toInt(&ok);
            if (!ok || ms <= 0) {
                return usageError(QStringLiteral("invalid time-out: %1").arg(value));
            }
            options.resolveTimeoutMs = options.connectTimeoutMs = options.replyTimeoutMs = ms;
        } else {
            return usageError(QStringLiteral("unknown option: %1").arg(option));
        }
    }
    if (list) {
        const QString group = positional.isEmpty() ? pv::machineWorkgroup() : positional.first().toUpper();
        const QStringList stations = pv::listWorkgroupStations(group, options.resolveTimeoutMs);
        for (const QString& station : stations) {
            std::printf("%s\n", qPrintable(station));
        }
        return stations.isEmpty() ? kExitFailed : 0;
    }
    if (positional.isEmpty()) {
        return usageError(QStringLiteral("no station given"));
    }
    const QString station = positional.takeFirst();
    QString text = positional.join(u' ');
    if (positional.isEmpty()) {
        const auto input = readStandardInput();
        if (!input) {
            std::fprintf(stderr, "pilvanor-send: cannot read the standard input\n");
            return kExitFailed;
        }
        text = *input;
    }

    QString detail;
    const int code = pv::netMessageBufferSend(options, station, from, text, &detail);
    if (code == pv::codec::netapi::Success) {
        std::printf(station.endsWith(u'*') ? "Message broadcast to %s.\n" : "Message delivered to %s.\n",
                    qPrintable(station));
        return 0;
    }
    std::fprintf(stderr,
                 "Message not delivered to %s: %s (%d).\n",
                 qPrintable(station),
                 qPrintable(pv::netMessageResultText(code)),
                 code);
    if (!detail.isEmpty()) {
        std::fprintf(stderr, "  %s\n", qPrintable(detail));
    }
    const bool invalid = code == pv::codec::netapi::InvalidParameter || code == pv::codec::netapi::InvalidName;
    return invalid ? kExitUsage : kExitFailed;
}
