#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

namespace pv {

// What changed among the pop-up files of the spool folder since the last look.
struct ChangementsSpool
{
    // True when `arrives` is the whole folder listed anew (the first look, a lost watch or an overflowing
    // queue): names not in it are gone.
    bool complet = false;
    QStringList arrives; // "*.popup" names, in no order
    QStringList partis;
};

// Follows the spool folder with inotify, so that a tick learns only what changed, whatever waits there: the
// folder is listed once, then on a lost watch or an overflowing queue only. A folder that does not exist yet is
// watched from when it does. Without inotify (no watch left), the folder is listed again whenever it changed.
class IndexSpool
{
public:
    explicit IndexSpool(QString dossier);
    ~IndexSpool();
    IndexSpool(const IndexSpool&) = delete;
    IndexSpool& operator=(const IndexSpool&) = delete;

    ChangementsSpool actualiser();

    bool surveille() const { return m_watch >= 0; }

private:
    QStringList lister() const;
    bool lireEvenements(ChangementsSpool& c);

    QString m_dossier;
    int m_fd = -1;
    int m_watch = -1;
    bool m_absent = false; // the folder was not there at the last look
    // Without a watch: what the folder's stat said at the last listing.
    bool m_liste = false;
    ino_t m_inode = 0;
    qint64 m_mtimeNs = -1;
    qint64 m_ctimeNs = -1;
    qint64 m_listeA = 0;
};

} // namespace pv
