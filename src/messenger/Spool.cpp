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
    // With its offset: a local time alone says nothing once the zone or the daylight-saving time changes.
    const QDateTime arrived = popup.arrived.toOffsetFromUtc(popup.arrived.offsetFromUtc());
    head += QStringLiteral("Arrived: ") + arrived.toString(Qt::ISODateWithMs) + QStringLiteral("\n\n");
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
    return write(QList<Popup> {popup}, error).front();
}

std::vector<bool> PopupSpool::write(const QList<Popup>& popups, QString* error)
{
    std::vector<bool> done(size_t(popups.size()), false);
    auto fail = [&](const QString& why) {
        if (error) {
            *error = why;
        }
    };
    if (!QDir().mkpath(m_folder)) {
        fail(QStringLiteral("cannot create %1").arg(m_folder));
        return done;
    }
    struct File
    {
        QByteArray tmp;
        QByteArray final;
        int fd = -1;
    };
    std::vector<File> files(done.size());
    auto drop = [&](File& f, const char* what) {
        fail(errnoText(what));
        if (f.fd >= 0) {
            ::close(f.fd);
            f.fd = -1;
        }
        ::unlink(f.tmp.constData());
        f.tmp.clear();
    };
    for (size_t i = 0; i < files.size(); ++i) {
        // Name order is arrival order: wall-clock nanoseconds, then a per-writer sequence for equal clocks.
        timespec now {};
        clock_gettime(CLOCK_REALTIME, &now);
        const QString name = QStringLiteral("%1%2-%3-%4")
                                 .arg(static_cast<qint64>(now.tv_sec), 11, 10, QLatin1Char('0'))
                                 .arg(static_cast<qint64>(now.tv_nsec), 9, 10, QLatin1Char('0'))
                                 .arg(++m_sequence, 8, 10, QLatin1Char('0'))
                                 .arg(::getpid())
                             + Suffix;
        File& f = files[i];
        f.final = QFile::encodeName(m_folder + QLatin1Char('/') + name);
        f.tmp = QFile::encodeName(m_folder + QStringLiteral("/.") + name + QStringLiteral(".tmp"));
        f.fd = ::open(f.tmp.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (f.fd < 0) {
            drop(f, "cannot create a spool file");
            continue;
        }
        const QByteArray bytes = serialize(popups[qsizetype(i)]);
        for (qsizetype at = 0; at < bytes.size();) {
            const ssize_t n = ::write(f.fd, bytes.constData() + at, static_cast<size_t>(bytes.size() - at));
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                drop(f, "cannot write a spool file");
                break;
            }
            at += n;
        }
        if (f.fd >= 0) {
            // Starts the write-back of every file before the first fsync waits, so that one journal commit
            // tends to carry them all.
            ::sync_file_range(f.fd, 0, 0, SYNC_FILE_RANGE_WRITE);
        }
    }
    for (File& f : files) {
        if (f.fd < 0) {
            continue;
        }
        const bool synced = ::fsync(f.fd) == 0;
        const int syncErrno = errno;
        const bool closed = ::close(f.fd) == 0;
        f.fd = -1;
        if (!synced || !closed) {
            errno = synced ? errno : syncErrno;
            drop(f, "cannot sync a spool file");
        }
    }
    bool any = false;
    for (size_t i = 0; i < files.size(); ++i) {
        if (files[i].tmp.isEmpty()) {
            continue;
        }
        if (::rename(files[i].tmp.constData(), files[i].final.constData()) != 0) {
            drop(files[i], "cannot name a spool file");
            continue;
        }
        done[i] = any = true;
    }
    if (!any) {
        return done;
    }
    // The new names are durable only once the folder is.
    const int dir = ::open(QFile::encodeName(m_folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = dir >= 0 && ::fsync(dir) == 0;
    if (!synced) {
        fail(errnoText("cannot sync the spool folder"));
        done.assign(done.size(), false);
    }
    if (dir >= 0) {
        ::close(dir);
    }
    return done;
}

qsizetype PopupSpool::count() const
{
    return names().size();
}

void PopupSpool::removeTemporaries() const
{
    QDir dir(m_folder);
    for (const QString& name :
         dir.entryList({QStringLiteral(".*") + Suffix + QStringLiteral(".tmp")}, QDir::Files | QDir::Hidden)) {
        dir.remove(name);
    }
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
