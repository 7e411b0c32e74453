#include "common/NetworkProbes.h"

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
    QString erreur;
    const std::vector<Ipv4Interface> interfaces = ipv4Interfaces(&erreur);
    if (!erreur.isEmpty()) {
        showMessageBox(QStringLiteral("Windows Sockets are not responding. Unable to successfully get Host Name."),
                       MsgStyle::Ok);
        return {};
    }
    for (const Ipv4Interface& i : interfaces) {
        if ((i.address >> 24) != 127) {
            return ipv4ToText(i.address);
        }
    }
    return {};
}

QString gObtenirNomDomainePrincipal()
{
    return machineWorkgroup();
}

QStringList gListerStationsGroupeTravail(const QString& groupe, int delaiMs, quint16 port)
{
    return listWorkgroupStations(groupe, delaiMs, port);
}

} // namespace pv
