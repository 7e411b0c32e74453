#include "common/NetworkProbes.h"
#include "common/MessengerText.h"

#include "common/Language.h"
#include "messenger/Interfaces.h"
#include "messenger/Workgroup.h"

#include <QFile>
#include <QSet>

#include <cerrno>
#include <unistd.h>

namespace pv {

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
    const auto interfaces = ipv4Interfaces();
    if (!interfaces) {
        showMessageBox(QStringLiteral("Windows Sockets are not responding. Unable to successfully get Host Name."),
                       MsgStyle::Ok);
        return {};
    }
    for (const Ipv4Interface& i : *interfaces) {
        if ((i.address >> 24) != 127) {
            return qtext(ipv4ToText(i.address));
        }
    }
    return {};
}

QString gObtenirNomDomainePrincipal()
{
    return qtext(machineWorkgroup());
}

QStringList gListerStationsGroupeTravail(const QString& groupe, int delaiMs, quint16 port)
{
    return qtexts(listWorkgroupStations(stdText(groupe), delaiMs, port));
}

} // namespace pv
