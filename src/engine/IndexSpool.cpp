#include "engine/IndexSpool.h"

#include <QFile>
#include <QHash>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pv {

namespace {

constexpr uint32_t Evenements
    = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// A folder changed this recently may change again within the same timestamp tick.
constexpr qint64 MargeHorodatageNs = 50'000'000;

qint64 ns(const timespec& t)
{
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

qint64 maintenantNs()
{
    timespec t {};
    clock_gettime(CLOCK_REALTIME, &t);
    return ns(t);
}

// What the service renames into place; its temporary files are hidden.
bool estPopup(const char* nom)
{
    const size_t n = strlen(nom);
    return nom[0] != '.' && n > 6 && strcmp(nom + n - 6, ".popup") == 0;
}

} // namespace

IndexSpool::IndexSpool(QString dossier)
    : m_dossier(std::move(dossier))
    , m_fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

IndexSpool::~IndexSpool()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

QStringList IndexSpool::lister() const
{
    QStringList noms;
    DIR* d = ::opendir(QFile::encodeName(m_dossier).constData());
    if (!d) {
        return noms;
    }
    while (const dirent* e = ::readdir(d)) {
        if (estPopup(e->d_name)) {
            noms.append(QFile::decodeName(e->d_name));
        }
    }
    ::closedir(d);
    return noms;
}

ChangementsSpool IndexSpool::actualiser()
{
    ChangementsSpool c;
    if (m_fd >= 0 && m_watch < 0) {
        m_watch = ::inotify_add_watch(m_fd, QFile::encodeName(m_dossier).constData(), Evenements);
        if (m_watch >= 0) {
            // Watched before listed: what comes in between is seen twice, never missed.
            m_liste = false;
            m_absent = false;
            c.complet = true;
            c.arrives = lister();
            return c;
        }
        if (errno == ENOENT) {
            // Nothing waits in a folder that is not there; said once.
            c.complet = !m_absent;
            m_absent = true;
            return c;
        }
    }
    if (m_watch >= 0) {
        if (!lireEvenements(c)) {
            c = {};
            c.complet = true;
            c.arrives = lister();
        }
        return c;
    }

    // No inotify: the folder's times say whether anything changed since it was listed.
    struct stat st
    {
    };
    const qint64 avant = maintenantNs();
    const bool existe = ::stat(QFile::encodeName(m_dossier).constData(), &st) == 0;
    const ino_t inode = existe ? st.st_ino : 0;
    const qint64 mtime = existe ? ns(st.st_mtim) : -1;
    const qint64 ctime = existe ? ns(st.st_ctim) : -1;
    const bool sur = m_mtimeNs < m_listeA - MargeHorodatageNs && m_ctimeNs < m_listeA - MargeHorodatageNs;
    if (m_liste && sur && inode == m_inode && mtime == m_mtimeNs && ctime == m_ctimeNs) {
        return c;
    }
    m_liste = true;
    m_inode = inode;
    m_mtimeNs = mtime;
    m_ctimeNs = ctime;
    m_listeA = avant;
    c.complet = true;
    c.arrives = lister();
    return c;
}

bool IndexSpool::lireEvenements(ChangementsSpool& c)
{
    // The last event of a name decides: present or gone.
    QHash<QString, bool> etat;
    QStringList ordre;
    bool suivi = true;
    alignas(inotify_event) char tampon[65536];
    for (;;) {
        const ssize_t n = ::read(m_fd, tampon, sizeof tampon);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            if (n < 0 && errno != EAGAIN) {
                suivi = false;
            }
            break;
        }
        for (ssize_t at = 0; at < n;) {
            const auto* e = reinterpret_cast<const inotify_event*>(tampon + at);
            at += ssize_t(sizeof(inotify_event) + e->len);
            if (e->mask & IN_Q_OVERFLOW) {
                suivi = false;
                continue;
            }
            if (e->wd != m_watch) {
                continue;
            }
            if (e->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) {
                // A folder moved away keeps its watch: the path is what counts.
                if (!(e->mask & IN_IGNORED)) {
                    ::inotify_rm_watch(m_fd, m_watch);
                }
                m_watch = -1;
                return false;
            }
            if (e->len == 0 || !estPopup(e->name)) {
                continue;
            }
            const QString nom = QFile::decodeName(e->name);
            if (!etat.contains(nom)) {
                ordre.append(nom);
            }
            etat[nom] = (e->mask & (IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO)) != 0;
        }
    }
    for (const QString& nom : std::as_const(ordre)) {
        (etat.value(nom) ? c.arrives : c.partis).append(nom);
    }
    return suivi;
}

} // namespace pv
