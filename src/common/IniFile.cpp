#include "common/IniFile.h"

#include "common/Error.h"
#include "common/TextCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pv {

namespace {

bool isSectionHeader(const QString& trimmed)
{
    return trimmed.startsWith(QLatin1Char('[')) && trimmed.contains(QLatin1Char(']'));
}

bool isComment(const QString& trimmed)
{
    return trimmed.startsWith(QLatin1Char(';')) || trimmed.startsWith(QLatin1Char('#'));
}

// Index just past the last line of a body that holds something, so that an appended key lands before the blank
// lines that separate it from the next section.
qsizetype endOfContent(const QStringList& lines)
{
    qsizetype end = lines.size();
    while (end > 0 && lines[end - 1].trimmed().isEmpty()) {
        --end;
    }
    return end;
}

} // namespace

QString iniLineKey(const QString& line)
{
    const qsizetype eq = line.indexOf(QLatin1Char('='));
    if (eq < 0) {
        return {};
    }
    // Only the first character that is not blank tells a comment: no copy of a long line for that.
    qsizetype lead = 0;
    while (lead < eq && line[lead].isSpace()) {
        ++lead;
    }
    if (line[lead] == QLatin1Char(';') || line[lead] == QLatin1Char('#')) {
        return {};
    }
    return line.left(eq).trimmed();
}

QChar iniKeyFault(const QString& key)
{
    const QString trimmed = key.trimmed();
    if (trimmed.isEmpty()) {
        return QLatin1Char(' ');
    }
    // A "[" in front makes a section header of the line as soon as the value holds a "]".
    if (isComment(trimmed) || trimmed.startsWith(QLatin1Char('['))) {
        return trimmed.front();
    }
    for (const QChar c : key) {
        if (c == QLatin1Char('=') || c == QLatin1Char('\n') || c == QLatin1Char('\r')) {
            return c;
        }
    }
    return QChar();
}

IniDocument IniDocument::parse(const QString& text)
{
    IniDocument doc;
    QStringList* target = &doc.m_preamble;
    qsizetype start = 0;
    const qsizetype n = text.size();
    while (start < n) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0) {
            end = n;
        }
        qsizetype len = end - start;
        if (len > 0 && text[start + len - 1] == QLatin1Char('\r')) {
            --len;
        }
        QString line = text.mid(start, len);
        start = end + 1;
        const QString trimmed = line.trimmed();
        if (isSectionHeader(trimmed)) {
            const qsizetype close = trimmed.indexOf(QLatin1Char(']'));
            doc.m_sections.push_back(Section {trimmed.mid(1, close - 1).trimmed(), line, {}});
            target = &doc.m_sections.back().lines;
        } else {
            target->append(line);
        }
    }
    return doc;
}

QString IniDocument::serialize() const
{
    qsizetype size = 0;
    for (const auto& l : m_preamble) {
        size += l.size() + 1;
    }
    for (const auto& s : m_sections) {
        size += s.header.size() + 1;
        for (const auto& l : s.lines) {
            size += l.size() + 1;
        }
    }
    QString out;
    out.reserve(size);
    for (const auto& l : m_preamble) {
        out += l;
        out += QLatin1Char('\n');
    }
    for (const auto& s : m_sections) {
        out += s.header;
        out += QLatin1Char('\n');
        for (const auto& l : s.lines) {
            out += l;
            out += QLatin1Char('\n');
        }
    }
    return out;
}

IniDocument::Section* IniDocument::find(const QString& section)
{
    for (auto& s : m_sections) {
        if (s.name.compare(section, Qt::CaseInsensitive) == 0) {
            return &s;
        }
    }
    return nullptr;
}

const IniDocument::Section* IniDocument::find(const QString& section) const
{
    return const_cast<IniDocument*>(this)->find(section);
}

QStringList IniDocument::sectionNames() const
{
    QStringList names;
    for (const auto& s : m_sections) {
        names.append(s.name);
    }
    return names;
}

bool IniDocument::hasSection(const QString& section) const
{
    return find(section) != nullptr;
}

QStringList IniDocument::sectionLines(const QString& section) const
{
    QStringList out;
    if (const Section* s = find(section)) {
        out.reserve(s->lines.size());
        for (const auto& line : s->lines) {
            qsizetype lead = 0;
            while (lead < line.size() && line[lead].isSpace()) {
                ++lead;
            }
            if (lead == line.size() || line[lead] == QLatin1Char(';') || line[lead] == QLatin1Char('#')) {
                continue;
            }
            out.append(lead ? line.mid(lead) : line);
        }
    }
    return out;
}

std::optional<QString> IniDocument::value(const QString& section, const QString& key) const
{
    if (const Section* s = find(section)) {
        for (const auto& line : s->lines) {
            if (iniLineKey(line).compare(key, Qt::CaseInsensitive) == 0 && !key.isEmpty()) {
                return line.mid(line.indexOf(QLatin1Char('=')) + 1);
            }
        }
    }
    return std::nullopt;
}

void IniDocument::setValue(const QString& section, const QString& key, const QString& value)
{
    if (const QChar c = iniKeyFault(key); !c.isNull()) {
        throw Error(
            key.trimmed().isEmpty()
                ? QStringLiteral("An empty name cannot be stored")
                : QStringLiteral("The name \"%1\" cannot be stored: the character %2 would hide it").arg(key, c));
    }
    const QString line = key + QLatin1Char('=') + value;
    Section* s = find(section);
    m_modified = true;
    if (!s) {
        m_sections.push_back(Section {section, QLatin1Char('[') + section + QLatin1Char(']'), {line}});
        return;
    }
    for (auto& l : s->lines) {
        if (iniLineKey(l).compare(key, Qt::CaseInsensitive) == 0) {
            // Keep the key as it was first written: names compare ignoring case.
            const QString replaced = l.left(l.indexOf(QLatin1Char('=')) + 1) + value;
            m_modified = m_modified || replaced != l;
            l = replaced;
            return;
        }
    }
    s->lines.insert(endOfContent(s->lines), line);
    m_modified = true;
}

bool IniDocument::removeKey(const QString& section, const QString& key)
{
    return removeKeys(section, {key}) > 0;
}

int IniDocument::removeKeys(const QString& section, const QStringList& keys)
{
    Section* s = find(section);
    if (!s || keys.isEmpty()) {
        return 0;
    }
    QSet<QString> wanted;
    for (const auto& k : keys) {
        wanted.insert(k.toCaseFolded());
    }
    QStringList kept;
    kept.reserve(s->lines.size());
    int removed = 0;
    for (auto& l : s->lines) {
        const QString k = iniLineKey(l);
        if (!k.isEmpty() && wanted.contains(k.toCaseFolded())) {
            ++removed;
        } else {
            kept.append(std::move(l));
        }
    }
    s->lines = std::move(kept);
    m_modified = m_modified || removed > 0;
    return removed;
}

bool IniDocument::removeSection(const QString& section)
{
    for (auto it = m_sections.begin(); it != m_sections.end(); ++it) {
        if (it->name.compare(section, Qt::CaseInsensitive) == 0) {
            m_sections.erase(it);
            m_modified = true;
            return true;
        }
    }
    return false;
}

void IniDocument::appendLines(const QString& section, const QStringList& lines)
{
    if (lines.isEmpty()) {
        return;
    }
    m_modified = true;
    if (Section* s = find(section)) {
        const qsizetype fin = endOfContent(s->lines);
        s->lines = s->lines.first(fin) + lines + s->lines.sliced(fin);
    } else {
        m_sections.push_back(Section {section, QLatin1Char('[') + section + QLatin1Char(']'), lines});
    }
}

void IniDocument::replaceSection(const QString& section, const QStringList& lines)
{
    if (Section* s = find(section)) {
        m_modified = m_modified || s->lines != lines;
        s->lines = lines;
    } else {
        m_sections.push_back(Section {section, QLatin1Char('[') + section + QLatin1Char(']'), lines});
        m_modified = true;
    }
}

IniFile::IniFile(QString path)
    : m_path(std::move(path))
{
}

IniDocument IniFile::loadOrEmpty() const
{
    try {
        return load();
    } catch (const Error&) {
        return {};
    }
}

QStringList IniFile::readSection(const QString& section, int limit) const
{
    QStringList lines = loadOrEmpty().sectionLines(section);
    // Each line counts with its terminator, and the list with one more. Counted from the end, so that what does
    // not fit is the oldest.
    qsizetype used = 1;
    qsizetype first = lines.size();
    while (first > 0 && used + lines[first - 1].size() + 1 <= limit) {
        used += lines[--first].size() + 1;
    }
    lines.remove(0, first);
    return lines;
}

std::optional<QString> IniFile::value(const QString& section, const QString& key) const
{
    auto v = loadOrEmpty().value(section, key);
    if (v && v->size() >= SectionLimit) {
        v->truncate(SectionLimit - 1);
    }
    return v;
}

QString IniFile::readString(const QString& section, const QString& key, const QString& fallback) const
{
    return value(section, key).value_or(fallback);
}

void IniFile::writeString(const QString& section, const QString& key, const std::optional<QString>& value)
{
    update([&](IniDocument& doc) {
        if (value) {
            doc.setValue(section, key, *value);
        } else {
            doc.removeKey(section, key);
        }
    });
}

void IniFile::removeSection(const QString& section)
{
    update([&](IniDocument& doc) { doc.removeSection(section); });
}

namespace {

class Fd
{
public:
    explicit Fd(int fd = -1)
        : m_fd(fd)
    {
    }
    ~Fd()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return m_fd; }
    int release()
    {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

[[noreturn]] void fail(const QString& what, const QString& path, int err)
{
    throw Error(
        QStringLiteral("%1 %2: %3").arg(what, QDir::toNativeSeparators(path), QString::fromLocal8Bit(strerror(err))),
        err);
}

bool writeAll(int fd, const QByteArray& data)
{
    const char* p = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, static_cast<size_t>(left));
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        p += n;
        left -= n;
    }
    return true;
}

} // namespace

IniDocument IniFile::load() const
{
    Fd fd(::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        if (errno == ENOENT) {
            return {};
        }
        fail(QStringLiteral("Cannot read"), m_path, errno);
    }
    QByteArray bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n == 0) {
            break;
        }
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(QStringLiteral("Cannot read"), m_path, errno);
        }
        bytes.append(buffer, n);
    }
    return IniDocument::parse(decodeTextFile(bytes));
}

void IniFile::update(const std::function<void(IniDocument&)>& edit)
{
    const QFileInfo info(m_path);
    const QString dir = info.absolutePath();
    if (!QDir().mkpath(dir)) {
        fail(QStringLiteral("Cannot create the folder of"), m_path, errno ? errno : EACCES);
    }
    const QByteArray lockPath
        = QFile::encodeName(dir + QStringLiteral("/.") + info.fileName() + QStringLiteral(".lock"));
    Fd lock(::open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock.get() < 0) {
        fail(QStringLiteral("Cannot lock"), m_path, errno);
    }
    while (::flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            fail(QStringLiteral("Cannot lock"), m_path, errno);
        }
    }

    // A writer killed half-way leaves its temporary file behind; nobody else can be writing one now.
    const QString tmpPrefix = QStringLiteral(".") + info.fileName() + QStringLiteral(".tmp-");
    QDir folder(dir);
    for (const QString& stale : folder.entryList({tmpPrefix + QLatin1Char('*')}, QDir::Files | QDir::Hidden)) {
        folder.remove(stale);
    }

    // Read under the lock so that no other writer's edit is lost. A file that cannot be read is never replaced:
    // its content would be lost.
    IniDocument doc;
    try {
        doc = load();
    } catch (const Error& e) {
        fail(QStringLiteral("Cannot write"), m_path, e.number());
    }
    edit(doc);
    // Nothing to write: an absent file stays absent and a present one keeps its bytes.
    if (!doc.isModified()) {
        return;
    }
    const QByteArray bytes = doc.serialize().toUtf8();

    const QByteArray target = QFile::encodeName(info.absoluteFilePath());
    mode_t mode = 0600;
    struct stat st;
    if (::stat(target.constData(), &st) == 0) {
        mode = st.st_mode & 07777;
    }
    QByteArray tmpl = QFile::encodeName(dir + QLatin1Char('/') + tmpPrefix + QStringLiteral("XXXXXX"));
    Fd tmp(::mkostemp(tmpl.data(), O_CLOEXEC));
    if (tmp.get() < 0) {
        fail(QStringLiteral("Cannot write"), m_path, errno);
    }
    if (!writeAll(tmp.get(), bytes) || ::fchmod(tmp.get(), mode) != 0 || ::fsync(tmp.get()) != 0) {
        const int err = errno;
        ::unlink(tmpl.constData());
        fail(QStringLiteral("Cannot write"), m_path, err);
    }
    if (::close(tmp.release()) != 0 || ::rename(tmpl.constData(), target.constData()) != 0) {
        const int err = errno;
        ::unlink(tmpl.constData());
        fail(QStringLiteral("Cannot write"), m_path, err);
    }
    // The rename is durable only once the folder is synced: until then a crash may bring the old file back.
    Fd dirFd(::open(QFile::encodeName(dir).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dirFd.get() < 0 || ::fsync(dirFd.get()) != 0) {
        fail(QStringLiteral("Cannot write"), m_path, errno);
    }
}

} // namespace pv
