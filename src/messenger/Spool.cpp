#include "messenger/Spool.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace pv {

namespace {

const QString Suffix = QStringLiteral(".popup");

// Header fields are single lines: names and addresses from the network never carry a line break into the file.
QString oneLine(const QString& value)
{
    QString out = value;
    for (QChar& c : out) {
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            c = QLatin1Char(' ');
        }
    }
    return out;
}

QString errnoText(const char* what)
{
    return QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(strerror(errno)));
}

} // namespace

PopupSpool::PopupSpool(QString folder)
    : m_folder(std::move(folder))
{
}

QString PopupSpool::defaultFolder()
{
    QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (state.isEmpty() || !QDir::isAbsolutePath(state)) {
        const QString home = qEnvironmentVariable("HOME");
        if (home.isEmpty()) {
            return {};
        }
        state = home + QStringLiteral("/.local/state");
    }
    return QDir::cleanPath(state) + QStringLiteral("/pilvanor/popups");
}

/*
 * File format, UTF-8:
 *
 *   Pilvanor-Popup: 1
 *   Title: Messenger Service ␠
 *   From: ALICE
 *   To: BOB
 *   Peer: 10.77.1.2
 *   Arrived: 2026-11-21T09:15:00.123+01:00
 *   <empty line>
 *   <text, CR LF line breaks, to the end of the file>
 */
QByteArray PopupSpool::serialize(const Popup& popup)
{
    QString head = QStringLiteral("Pilvanor-Popup: 1\n");
    head += QStringLiteral("Title: ") + oneLine(popup.title) + QLatin1Char('\n');
    head += QStringLiteral("From: ") + oneLine(popup.from) + QLatin1Char('\n');
    head += QStringLiteral("To: ") + oneLine(popup.to) + QLatin1Char('\n');
    head += QStringLiteral("Peer: ") + oneLine(popup.peer) + QLatin1Char('\n');
    head += QStringLiteral("Arrived: ") + popup.arrived.toString(Qt::ISODateWithMs) + QStringLiteral("\n\n");
    return head.toUtf8() + popup.text.toUtf8();
}

std::optional<Popup> PopupSpool::parse(const QByteArray& bytes)
{
    const qsizetype end = bytes.indexOf("\n\n");
    if (!bytes.startsWith("Pilvanor-Popup: 1\n") || end < 0) {
        return std::nullopt;
    }
    Popup p;
    for (const QByteArray& line : bytes.left(end).split('\n')) {
        const qsizetype colon = line.indexOf(": ");
        if (colon < 0) {
            continue;
        }
        const QByteArray key = line.left(colon);
        const QString value = QString::fromUtf8(line.mid(colon + 2));
        if (key == "Title") {
            p.title = value;
        } else if (key == "From") {
            p.from = value;
        } else if (key == "To") {
            p.to = value;
        } else if (key == "Peer") {
            p.peer = value;
        } else if (key == "Arrived") {
            p.arrived = QDateTime::fromString(value, Qt::ISODateWithMs);
        }
    }
    p.text = QString::fromUtf8(bytes.mid(end + 2));
    return p;
}

bool PopupSpool::write(const Popup& popup, QString* error)
{
    auto fail = [&](const QString& why) {
        if (error) {
            *error = why;
        }
        return false;
    };
    if (!QDir().mkpath(m_folder)) {
        return fail(QStringLiteral("cannot create %1").arg(m_folder));
    }
    // Name order is arrival order: wall-clock nanoseconds, then a per-writer sequence for equal clocks.
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    const QString name = QStringLiteral("%1%2-%3-%4")
                             .arg(static_cast<qint64>(now.tv_sec), 11, 10, QLatin1Char('0'))
                             .arg(static_cast<qint64>(now.tv_nsec), 9, 10, QLatin1Char('0'))
                             .arg(++m_sequence, 8, 10, QLatin1Char('0'))
                             .arg(::getpid())
                         + Suffix;
    const QByteArray finalPath = QFile::encodeName(m_folder + QLatin1Char('/') + name);
    const QByteArray tmpPath = QFile::encodeName(m_folder + QStringLiteral("/.") + name + QStringLiteral(".tmp"));
    const QByteArray bytes = serialize(popup);

    const int fd = ::open(tmpPath.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        return fail(errnoText("cannot create a spool file"));
    }
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            const QString why = errnoText("cannot write a spool file");
            ::close(fd);
            ::unlink(tmpPath.constData());
            return fail(why);
        }
        done += n;
    }
    if (::fsync(fd) != 0 || ::close(fd) != 0) {
        const QString why = errnoText("cannot sync a spool file");
        ::unlink(tmpPath.constData());
        return fail(why);
    }
    if (::rename(tmpPath.constData(), finalPath.constData()) != 0) {
        const QString why = errnoText("cannot name a spool file");
        ::unlink(tmpPath.constData());
        return fail(why);
    }
    const int dir = ::open(QFile::encodeName(m_folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = dir >= 0 && ::fsync(dir) == 0;
    if (dir >= 0) {
        ::close(dir);
    }
    return synced ? true : fail(errnoText("cannot sync the spool folder"));
}

QStringList PopupSpool::names() const
{
    return QDir(m_folder).entryList({QLatin1Char('*') + Suffix}, QDir::Files, QDir::Name);
}

std::optional<Popup> PopupSpool::read(const QString& name) const
{
    QFile f(m_folder + QLatin1Char('/') + name);
    if (!f.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    auto p = parse(f.readAll());
    if (p) {
        p->id = name;
    }
    return p;
}

std::optional<Popup> PopupSpool::oldestWithTitle(const QString& title) const
{
    for (const QString& name : names()) {
        if (auto p = read(name); p && p->title == title) {
            return p;
        }
    }
    return std::nullopt;
}

std::optional<Popup> PopupSpool::newest() const
{
    const QStringList all = names();
    for (auto it = all.crbegin(); it != all.crend(); ++it) {
        if (auto p = read(*it)) {
            return p;
        }
    }
    return std::nullopt;
}

QList<Popup> PopupSpool::all() const
{
    QList<Popup> out;
    for (const QString& name : names()) {
        if (auto p = read(name)) {
            out.append(*p);
        }
    }
    return out;
}

bool PopupSpool::remove(const Popup& popup) const
{
    return !popup.id.isEmpty() && !popup.id.contains(QLatin1Char('/'))
           && QFile::remove(m_folder + QLatin1Char('/') + popup.id);
}

} // namespace pv
