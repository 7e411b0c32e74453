#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace pv {

// An INI text kept line by line, so that an edit changes only the lines it touches and keeps comments, blank
// lines and anything hand-written elsewhere. Section and key names compare ignoring case; a new key goes at the
// end of its section and a new section at the end of the text.
class IniDocument
{
public:
    static IniDocument parse(const QString& text);
    QString serialize() const;

    QStringList sectionNames() const;
    bool hasSection(const QString& section) const;
    // The lines of a section in file order, comments and blank lines left out. Lines without "=" are kept:
    // a hand-edited file may hold them and the callers decide.
    QStringList sectionLines(const QString& section) const;
    std::optional<QString> value(const QString& section, const QString& key) const;

    // Throws pv::Error for a key that would not read back as written (see iniKeyFault).
    void setValue(const QString& section, const QString& key, const QString& value);
    bool removeKey(const QString& section, const QString& key);
    // Removes every listed key in one pass; returns how many lines went.
    int removeKeys(const QString& section, const QStringList& keys);
    bool removeSection(const QString& section);
    // Appends "key=value" lines to a section (created at the end when missing) without looking for their keys:
    // for callers that know the keys are new and write many at once.
    void appendLines(const QString& section, const QStringList& lines);
    // Replaces the body of a section (created at the end when missing) by these lines.
    void replaceSection(const QString& section, const QStringList& lines);

    // True once an edit changed the text.
    bool isModified() const { return m_modified; }

private:
    struct Section
    {
        QString name;
        QString header;
        QStringList lines;
    };

    Section* find(const QString& section);
    const Section* find(const QString& section) const;

    QStringList m_preamble;
    std::vector<Section> m_sections;
    bool m_modified = false;
};

// The key of an INI line: the text before the first "=", trimmed; empty for a comment or a line without "=".
QString iniLineKey(const QString& line);

// The character that keeps `key` from reading back as the key of its line: a "#" or ";" in front (a comment), a
// "[" in front (a section header), an "=" or a line break anywhere. A blank for an empty key; null when it is fine.
QChar iniKeyFault(const QString& key);

// An INI file on disk. Reads take no lock: every write replaces the file atomically (temporary file, fsync,
// rename) under an advisory lock, so a reader sees the old file or the new one, never a torn one, and two
// processes never interleave their edits. Writes throw pv::Error with a readable text when they fail.
class IniFile
{
public:
    // What one read returns at most, counted as the Windows profile calls count their buffers.
    static constexpr int SectionLimit = 32767;
    static constexpr int HistoryLimit = 999999;

    explicit IniFile(QString path);

    const QString& path() const { return m_path; }

    // A missing file reads as empty; one that exists but cannot be read throws pv::Error.
    IniDocument load() const;
    // For reads that show what they can: an unreadable file reads as empty here, and every write to it fails.
    IniDocument loadOrEmpty() const;
    // "key=value" lines of a section in file order; whole lines only. A section longer than the limit loses its
    // first (oldest) lines: keys are appended, so the newest are at the end.
    QStringList readSection(const QString& section, int limit = SectionLimit) const;
    std::optional<QString> value(const QString& section, const QString& key) const;
    QString readString(const QString& section, const QString& key, const QString& fallback = {}) const;

    // A null value removes the key. Every write throws when the file exists but cannot be read: what it holds
    // would be lost.
    void writeString(const QString& section, const QString& key, const std::optional<QString>& value);
    void removeSection(const QString& section);
    // Applies several edits to the current content in one atomic, locked write.
    void update(const std::function<void(IniDocument&)>& edit);

private:
    QString m_path;
};

} // namespace pv
