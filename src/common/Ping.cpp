#include "common/Language.h"
#include "common/MessengerText.h"
#include "common/NetworkProbes.h"
#include "messenger/NameQuery.h"
#include "messenger/Workgroup.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QScopeGuard>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace pv {

namespace {

constexpr int TailleDonnees = 32;
constexpr int DureeDeVie = 255;
constexpr unsigned char EchoReponse = 0;
constexpr unsigned char EchoDemande = 8;

// Injoignable: "host unreachable" and its kind, which say that nobody is there (the kernel's own when the neighbour
// does not answer); a connection after it would only wait for the same answer.
enum class Issue { Reponse, Silence, Injoignable, Impossible };

struct Echo
{
    in_addr cible;
    QDeadlineTimer fin;
    quint16 id;
    quint16 sequence;
    QString* adresse;
};

quint16 lire16(const unsigned char* p)
{
    return quint16(p[0] << 8 | p[1]);
}

QString texteAdresse(in_addr a)
{
    char texte[INET_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET, &a, texte, sizeof texte) ? QString::fromLatin1(texte) : QString();
}

// The look-up counts against the echo's time-out, as it did when the resolver was awaited first.
bool resoudre(const QString& station, const QDeadlineTimer& fin, in_addr* a)
{
    // Names the resolver does not know are NetBIOS names of the LAN.
    const int delai = int(qMin<qint64>(fin.remainingTime(), 60000));
    const std::string texte = stdText(station.trimmed());
    const auto nom = codec::netbiosNameFromText(texte, codec::kSuffixMessenger, codec::OemCodePage::Cp850);
    StationLookup recherche;
    recherche.timeoutMs = delai;
    recherche.winsServers = winsServers();
    const Expected<uint32_t> adresse = nom ? resolveStation(*nom, texte, recherche)
                                           : Expected<uint32_t>(resolveIpv4(texte, delai).value_or(INADDR_NONE));
    if (adresse && *adresse != INADDR_NONE) {
        a->s_addr = htonl(*adresse);
        return true;
    }
    return false;
}

QByteArray demandeEcho(quint16 id, quint16 sequence)
{
    QByteArray paquet(8 + TailleDonnees, 'A');
    const unsigned char entete[8]
        = {EchoDemande, 0, 0, 0, uchar(id >> 8), uchar(id), uchar(sequence >> 8), uchar(sequence)};
    std::memcpy(paquet.data(), entete, sizeof entete);
    quint32 somme = 0;
    for (qsizetype i = 0; i < paquet.size(); i += 2) {
        somme += lire16(reinterpret_cast<const unsigned char*>(paquet.constData()) + i);
    }
    while (somme >> 16) {
        somme = (somme & 0xFFFF) + (somme >> 16);
    }
    const quint16 controle = quint16(~somme);
    paquet[2] = char(controle >> 8);
    paquet[3] = char(controle);
    return paquet;
}

// Destination unreachable, and whether its code says that there is no such network or host.
constexpr unsigned char Inaccessible = 3;
bool personne(unsigned char type, unsigned char code)
{
    return type == Inaccessible && (code == 0 || code == 1 || code == 6 || code == 7);
}

// What an ICMP message says of the echo: nothing (nullopt) when it does not concern it. An echo reply and other
// errors quoting the echo ("time exceeded", "prohibited") count as an answer.
std::optional<Issue> lireReponse(const unsigned char* icmp, size_t n, const Echo& echo)
{
    if (n < 8) {
        return std::nullopt;
    }
    if (icmp[0] == EchoReponse) {
        return lire16(icmp + 4) == echo.id && lire16(icmp + 6) == echo.sequence ? std::optional(Issue::Reponse)
                                                                                : std::nullopt;
    }
    if (icmp[0] != Inaccessible && icmp[0] != 11 && icmp[0] != 12) {
        return std::nullopt;
    }
    const unsigned char* ip = icmp + 8;
    const size_t longueurIp = n >= 28 ? size_t(ip[0] & 0x0F) * 4 : 0;
    if (longueurIp < 20 || n < 8 + longueurIp + 8 || ip[9] != IPPROTO_ICMP) {
        return std::nullopt;
    }
    const unsigned char* cite = ip + longueurIp;
    if (cite[0] != EchoDemande || lire16(cite + 4) != echo.id || lire16(cite + 6) != echo.sequence) {
        return std::nullopt;
    }
    return personne(icmp[0], icmp[1]) ? Issue::Injoignable : Issue::Reponse;
}

// An ICMP socket reports errors through its error queue, with the address of the station that sent them.
std::optional<Issue> lireErreur(int fd, const Echo& echo)
{
    unsigned char donnees[576];
    alignas(cmsghdr) char controle[512];
    iovec io {donnees, sizeof donnees};
    msghdr message {};
    message.msg_iov = &io;
    message.msg_iovlen = 1;
    message.msg_control = controle;
    message.msg_controllen = sizeof controle;
    const ssize_t n = ::recvmsg(fd, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
    if (n < 8 || donnees[0] != EchoDemande || lire16(donnees + 6) != echo.sequence) {
        return std::nullopt;
    }
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_IP || c->cmsg_type != IP_RECVERR) {
            continue;
        }
        sock_extended_err erreur;
        std::memcpy(&erreur, CMSG_DATA(c), sizeof erreur);
        if (erreur.ee_origin == SO_EE_ORIGIN_LOCAL
            && (erreur.ee_errno == EHOSTUNREACH || erreur.ee_errno == ENETUNREACH)) {
            return Issue::Injoignable;
        }
        if (erreur.ee_origin != SO_EE_ORIGIN_ICMP) {
            return std::nullopt;
        }
        if (personne(erreur.ee_type, erreur.ee_code)) {
            return Issue::Injoignable;
        }
        sockaddr_in emetteur;
        std::memcpy(&emetteur, CMSG_DATA(c) + sizeof erreur, sizeof emetteur);
        *echo.adresse = texteAdresse(emetteur.sin_addr);
        return Issue::Reponse;
    }
    return std::nullopt;
}

Issue pingSocket(int type, Echo echo)
{
    const int fd = ::socket(AF_INET, type | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (fd < 0) {
        return Issue::Impossible;
    }
    const auto fermer = qScopeGuard([fd] { ::close(fd); });
    const bool brut = type == SOCK_RAW;
    const int ttl = DureeDeVie;
    const int oui = 1;
    ::setsockopt(fd, IPPROTO_IP, IP_TTL, &ttl, sizeof ttl);
    if (!brut) {
        ::setsockopt(fd, IPPROTO_IP, IP_RECVERR, &oui, sizeof oui);
    }
    sockaddr_in vers {};
    vers.sin_family = AF_INET;
    vers.sin_addr = echo.cible;
    const QByteArray paquet = demandeEcho(echo.id, echo.sequence);
    if (::sendto(fd, paquet.constData(), size_t(paquet.size()), 0, reinterpret_cast<sockaddr*>(&vers), sizeof vers)
        < 0) {
        return errno == EHOSTUNREACH || errno == ENETUNREACH ? Issue::Injoignable : Issue::Silence;
    }
    if (!brut) {
        // The kernel puts the socket's port in place of our identifier.
        sockaddr_in local {};
        socklen_t longueur = sizeof local;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &longueur);
        echo.id = ntohs(local.sin_port);
    }
    unsigned char tampon[1500];
    for (;;) {
        pollfd attente {fd, POLLIN, 0};
        const int pret = ::poll(&attente, 1, int(echo.fin.remainingTime()));
        if (pret < 0 && errno == EINTR) {
            continue;
        }
        if (pret <= 0) {
            return Issue::Silence;
        }
        if (!brut && (attente.revents & POLLERR)) {
            if (const auto issue = lireErreur(fd, echo)) {
                return *issue;
            }
            continue;
        }
        sockaddr_in de {};
        socklen_t longueur = sizeof de;
        const ssize_t n
            = ::recvfrom(fd, tampon, sizeof tampon, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&de), &longueur);
        if (n <= 0) {
            continue;
        }
        const size_t entete = brut ? size_t(tampon[0] & 0x0F) * 4 : 0;
        const auto issue = size_t(n) > entete ? lireReponse(tampon + entete, size_t(n) - entete, echo) : std::nullopt;
        if (issue == Issue::Reponse) {
            *echo.adresse = texteAdresse(de.sin_addr);
        }
        if (issue) {
            return *issue;
        }
    }
}

Issue pingCommande(const Echo& echo)
{
    const qint64 delai = qMax<qint64>(echo.fin.remainingTime(), 1);
    QProcess ping;
    QProcessEnvironment environnement = QProcessEnvironment::systemEnvironment();
    environnement.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    ping.setProcessEnvironment(environnement);
    ping.start(QStringLiteral("/usr/bin/ping"),
               {QStringLiteral("-n"),
                QStringLiteral("-c"),
                QStringLiteral("1"),
                QStringLiteral("-W"),
                QString::number(double(delai) / 1000.0, 'f', 3),
                QStringLiteral("-t"),
                QString::number(DureeDeVie),
                QStringLiteral("-s"),
                QString::number(TailleDonnees),
                QStringLiteral("-p"),
                QStringLiteral("41"),
                texteAdresse(echo.cible)});
    if (!ping.waitForStarted()) {
        return Issue::Impossible;
    }
    // ping keeps its own time-out; the margin only guards against a hang.
    if (!ping.waitForFinished(int(delai) + 2000)) {
        ping.kill();
        ping.waitForFinished();
        return Issue::Silence;
    }
    // "40 bytes from A.B.C.D: ..." for a reply, "From A.B.C.D icmp_seq=1 Destination ..." for an error.
    static const QRegularExpression reponse(
        QStringLiteral(R"(^(?:\d+ bytes from|From) (\d+\.\d+\.\d+\.\d+)(.*Destination (?:Host|Net) Unreachable)?)"),
        QRegularExpression::MultilineOption);
    const QRegularExpressionMatch trouve = reponse.match(QString::fromLatin1(ping.readAllStandardOutput()));
    if (!trouve.hasMatch()) {
        return Issue::Silence;
    }
    if (trouve.hasCaptured(2)) {
        return Issue::Injoignable;
    }
    *echo.adresse = trouve.captured(1);
    return Issue::Reponse;
}

} // namespace

bool gPingStation(const QString& station, QString* adresse, int delaiMs, MethodePing methode)
{
    QString repondant;
    Echo echo {{}, QDeadlineTimer(qMax(delaiMs, 0)), 0, 0, &repondant};
    if (!resoudre(station, echo.fin, &echo.cible)) {
        return false;
    }
    const quint32 hasard = QRandomGenerator::global()->generate();
    echo.id = quint16(hasard >> 16);
    echo.sequence = quint16(hasard);

    Issue issue = Issue::Impossible;
    if (methode == MethodePing::Auto || methode == MethodePing::SocketBrut) {
        issue = pingSocket(SOCK_RAW, echo);
    }
    if (issue == Issue::Impossible && (methode == MethodePing::Auto || methode == MethodePing::SocketDatagramme)) {
        issue = pingSocket(SOCK_DGRAM, echo);
    }
    if (issue == Issue::Impossible && (methode == MethodePing::Auto || methode == MethodePing::CommandePing)) {
        issue = pingCommande(echo);
    }
    if (issue == Issue::Impossible) {
        showMessageBox(QStringLiteral("Unable to Create File Handle"), MsgStyle::Ok);
        return false;
    }
    if (issue == Issue::Reponse && adresse != nullptr) {
        *adresse = repondant;
    }
    return issue == Issue::Reponse;
}

} // namespace pv
