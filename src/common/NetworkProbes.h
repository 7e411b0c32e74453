#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

namespace pv {

// The local host name, or "" when the system cannot tell.
QString gObtenirNomHote();

// The first non-loopback IPv4 address of the machine as dotted text, or "". The resolver is not asked: Debian maps
// the host name to 127.0.1.1.
QString gObtenirAdresseIP();

// How the echo goes out. Auto takes the first that the system allows; the others exist so that each can be tried.
enum class MethodePing {
    Auto,
    SocketBrut,       // raw socket: root or CAP_NET_RAW
    SocketDatagramme, // unprivileged ICMP socket, allowed by net.ipv4.ping_group_range
    CommandePing,     // /usr/bin/ping
};

// One ICMP echo (32 bytes of "A", TTL 255) to `station`, waiting at most `delaiMs`. True when a reply came that
// answers this echo (an error quoting it included, "time exceeded" for instance); `adresse` then receives the
// replying address. "Host unreachable" (or "network unreachable"), from a router or from the kernel when the
// neighbour does not answer, gives false at once: nobody is there. An unknown name or silence gives false quietly;
// no way at all to send an echo is reported in a box.
bool gPingStation(const QString& station, QString* adresse, int delaiMs, MethodePing methode = MethodePing::Auto);

// The workstation's LAN group: "workgroup" of the [global] section of smb.conf in upper case, else "WORKGROUP".
// The variable PILVANOR_SMB_CONF names another file (for tests).
QString gObtenirNomDomainePrincipal();

// The stations of a workgroup without a browser: a broadcast name query for GROUP<00> on every broadcast interface,
// answered by each member, then a node status of each member; its unique <00> (computer) and <20> (server) names,
// sorted. Each of the two rounds waits `delaiMs`. `port` is where the name service listens (tests move it).
QStringList gListerStationsGroupeTravail(const QString& groupe, int delaiMs, quint16 port = 137);

// The program runs only where the message service can; on Linux that is always so.
inline bool gVerifierWindowsNT()
{
    return true;
}

// The tray-icon record size: no shell version to test on Linux, so that of a shell 6 or later.
inline constexpr std::int32_t TailleIconeNotification = 504;

} // namespace pv
