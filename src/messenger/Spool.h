#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace pv {

// One message as the service hands it to the desktop program: the pop-up that the Windows message service would
// have shown.
struct Popup
{
    QString title; // "Messenger Service " (trailing blank kept)
    QString text;  // header line, empty line, body; line breaks are CR LF
    QString from;
    QString to;
    QString peer; // the sender's address
    QDateTime arrived;
    QString id; // the spool file's name, set when read
};

// The pop-up spool: a folder with one file per pop-up, named so that name order is arrival order. A file is
// written under a hidden temporary name, synced and renamed, so a reader never sees half of one and a pop-up that
// was acknowledged survives a crash.
class PopupSpool
{
public:
    explicit PopupSpool(QString folder);

    // $XDG_STATE_HOME/pilvanor/popups
    static QString defaultFolder();

    const QString& folder() const { return m_folder; }

    // Writes one pop-up durably; on failure returns false and says why in error.
    bool write(const Popup& popup, QString* error = nullptr);
    // Writes several with one sync pass for all (a group commit); result[i] tells whether popups[i] is durable.
    std::vector<bool> write(const QList<Popup>& popups, QString* error = nullptr);
    // Pop-ups waiting in the folder.
    qsizetype count() const;
    // Removes what a writer that crashed left half-written. Only the one writer of the folder may call it.
    void removeTemporaries() const;

    // The oldest pop-up whose title is exactly this title.
    std::optional<Popup> oldestWithTitle(const QString& title) const;
    // The newest pop-up of any title.
    std::optional<Popup> newest() const;
    // All pop-ups in arrival order.
    QList<Popup> all() const;
    bool remove(const Popup& popup) const;

    // The file format, shared by the writer and the tests.
    static QByteArray serialize(const Popup& popup);
    static std::optional<Popup> parse(const QByteArray& bytes);

private:
    QStringList names() const;
    std::optional<Popup> read(const QString& name) const;

    QString m_folder;
    mutable quint64 m_sequence = 0;
};

} // namespace pv
