#include "common/NetworkProbes.h"

#include "common/Language.h"
#include "messenger/codec/NameService.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QSet>

#include <arpa/inet.h>
#include <cerrno>
#include <ifaddrs.h>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace pv {

namespace {

QList<sockaddr_in> adressesDiffusion(quint16 port)
{
    QList<sockaddr_in> adresses;
    ifaddrs* liste = nullptr;
    if (::getifaddrs(&liste) != 0) {
        return adresses;
    }
    for (const ifaddrs* i = liste; i != nullptr; i = i->ifa_next) {
        if (i->ifa_addr != nullptr && i->ifa_addr->sa_family == AF_INET && i->ifa_broadaddr != nullptr
            && (i->ifa_flags & IFF_UP) && (i->ifa_flags & IFF_BROADCAST) && !(i->ifa_flags & IFF_LOOPBACK)) {
            sockaddr_in a = *reinterpret_cast<const sockaddr_in*>(i->ifa_broadaddr);
            a.sin_port = htons(port);
            adresses.append(a);
        }
    }
    ::freeifaddrs(liste);
    return adresses;
}

void envoyer(int fd, const std::vector<uint8_t>& paquet, sockaddr_in vers)
{
    ::sendto(fd, paquet.data(), paquet.size(), 0, reinterpret_cast<const sockaddr*>(&vers), sizeof vers);
}

// One datagram received before `fin`, or an empty span once the time is up.
std::span<const uint8_t> recevoir(int fd, qint64 finMs, const QElapsedTimer& montre, std::vector<uint8_t>& tampon)
{
    for (;;) {
        pollfd attente {fd, POLLIN, 0};
        const int pret = ::poll(&attente, 1, int(qMax<qint64>(finMs - montre.elapsed(), 0)));
        if (pret < 0 && errno == EINTR) {
            continue;
        }
        if (pret <= 0) {
            return {};
        }
        const ssize_t n = ::recv(fd, tampon.data(), tampon.size(), MSG_DONTWAIT);
        if (n > 0) {
            return {tampon.data(), size_t(n)};
        }
    }
}

} // namespace

QString gObtenirNomHote()
{
    char buffer[256] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0) {
        showMessageBox(
            QStringLiteral("Windows Sockets error %1 has occurred. Unable to successfully get Host Name.").arg(errno),
            MsgStyle::Ok);
        return {};
    }
    return QString::fromLocal8Bit(buffer);
}

QString gObtenirAdresseIP()
{
    ifaddrs* liste = nullptr;
    if (::getifaddrs(&liste) != 0) {
        showMessageBox(QStringLiteral("Windows Sockets are not responding. Unable to successfully get Host Name."),
                       MsgStyle::Ok);
        return {};
    }
    QString adresse;
    for (const ifaddrs* i = liste; i != nullptr && adresse.isEmpty(); i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET || (i->ifa_flags & IFF_LOOPBACK)
            || !(i->ifa_flags & IFF_UP)) {
            continue;
        }
        const in_addr a = reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr;
        if ((ntohl(a.s_addr) >> 24) == 127) {
            continue;
        }
        char texte[INET_ADDRSTRLEN] = {};
        if (::inet_ntop(AF_INET, &a, texte, sizeof texte) != nullptr) {
            adresse = QString::fromLatin1(texte);
        }
    }
    ::freeifaddrs(liste);
    return adresse;
}

QString gObtenirNomDomainePrincipal()
{
    const QString defaut = QStringLiteral("WORKGROUP");
    QString chemin = qEnvironmentVariable("PILVANOR_SMB_CONF");
    if (chemin.isEmpty()) {
        chemin = QStringLiteral("/etc/samba/smb.conf");
    }
    QFile fichier(chemin);
    if (!fichier.open(QIODevice::ReadOnly)) {
        return defaut;
    }
    QString groupe;
    bool global = false;
    while (!fichier.atEnd()) {
        const QString ligne = QString::fromUtf8(fichier.readLine()).trimmed();
        if (ligne.isEmpty() || ligne.startsWith(u';') || ligne.startsWith(u'#')) {
            continue;
        }
        if (ligne.startsWith(u'[')) {
            const qsizetype fin = ligne.indexOf(u']');
            global = fin > 0 && ligne.mid(1, fin - 1).trimmed().compare(u"global", Qt::CaseInsensitive) == 0;
            continue;
        }
        const qsizetype egal = ligne.indexOf(u'=');
        if (!global || egal < 0) {
            continue;
        }
        // Samba ignores case and blanks in parameter names ("Work Group" is "workgroup"); the last setting wins.
        if (ligne.left(egal).remove(u' ').remove(u'\t').compare(u"workgroup", Qt::CaseInsensitive) == 0) {
            groupe = ligne.mid(egal + 1).trimmed().toUpper();
        }
    }
    return groupe.isEmpty() ? defaut : groupe;
}

QStringList gListerStationsGroupeTravail(const QString& groupe, int delaiMs, quint16 port)
{
    using namespace codec;
    const Result<NetbiosName> nom = netbiosNameFromText(groupe, kSuffixWorkstation, OemCodePage::Cp850);
    const QList<sockaddr_in> diffusions = adressesDiffusion(port);
    if (!nom || diffusions.isEmpty()) {
        return {};
    }
    const auto id = uint16_t(QRandomGenerator::global()->generate());
    const Result<std::vector<uint8_t>> question = buildNameQuery(id, *nom, true);
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (!question || fd < 0) {
        return {};
    }
    const auto fermer = qScopeGuard([fd] { ::close(fd); });
    const int oui = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &oui, sizeof oui);
    std::vector<uint8_t> tampon(1500);
    const qint64 delai = qMax(delaiMs, 0);

    // Each member answers with its own address. The query goes out three times over the wait (UDP may lose it),
    // and a member answers each copy (nmbd even answers twice).
    QElapsedTimer montre;
    montre.start();
    QList<uint32_t> membres;
    for (int essai = 1; essai <= 3; ++essai) {
        for (const sockaddr_in& vers : diffusions) {
            envoyer(fd, *question, vers);
        }
        for (auto paquet = recevoir(fd, delai * essai / 3, montre, tampon); !paquet.empty();
             paquet = recevoir(fd, delai * essai / 3, montre, tampon)) {
            const Result<NameQueryResponse> reponse = parseNameQueryResponse(paquet);
            if (!reponse || reponse->id != id || !reponse->isPositive()) {
                continue;
            }
            for (const NbAddress& a : reponse->addresses) {
                if (!membres.contains(a.ip)) {
                    membres.append(a.ip);
                }
            }
        }
    }

    // A node status tells the names a member holds; each member has its own transaction id, and a request still
    // unanswered halfway is sent again.
    std::map<uint16_t, uint32_t> enAttente;
    for (qsizetype i = 0; i < membres.size(); ++i) {
        enAttente[uint16_t(id + 1 + i)] = membres[i];
    }
    QSet<QString> stations;
    montre.restart();
    for (int essai = 1; essai <= 2 && !enAttente.empty(); ++essai) {
        for (const auto& [transaction, ip] : enAttente) {
            sockaddr_in vers {};
            vers.sin_family = AF_INET;
            vers.sin_port = htons(port);
            vers.sin_addr.s_addr = htonl(ip);
            if (const auto requete = buildNodeStatusRequest(transaction)) {
                envoyer(fd, *requete, vers);
            }
        }
        while (!enAttente.empty()) {
            const auto paquet = recevoir(fd, delai * essai / 2, montre, tampon);
            if (paquet.empty()) {
                break;
            }
            const Result<NodeStatusResponse> etat = parseNodeStatusResponse(paquet);
            if (!etat || enAttente.erase(etat->id) == 0) {
                continue;
            }
            for (const NodeStatusEntry& entree : etat->names) {
                if (!(entree.flags & kNbGroup)
                    && (entree.name.suffix == kSuffixWorkstation || entree.name.suffix == kSuffixMessenger)) {
                    stations.insert(decodeOemText(entree.name.name, OemCodePage::Cp850));
                }
            }
        }
    }
    QStringList liste(stations.begin(), stations.end());
    liste.sort();
    return liste;
}

} // namespace pv
