#include "common/NetworkProbes.h"

#include "common/Language.h"
#include "messenger/Interfaces.h"
#include "messenger/NameQuery.h"

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
    if (!nom) {
        return {};
    }
    // Each member answers with its own address; the query goes out three times over the wait (UDP may lose it).
    const std::vector<uint32_t> membres = broadcastNameQuery(*nom, {port, qMax(delaiMs, 0), 3, false});
    // A node status tells the names a member holds; a request still unanswered halfway is sent again.
    QSet<QString> stations;
    for (const auto& [ip, noms] : nodeStatus(membres, {port, qMax(delaiMs, 0), 2, false})) {
        for (const NodeStatusEntry& entree : noms) {
            if (!(entree.flags & kNbGroup)
                && (entree.name.suffix == kSuffixWorkstation || entree.name.suffix == kSuffixMessenger)) {
                stations.insert(decodeOemText(entree.name.name, OemCodePage::Cp850));
            }
        }
    }
    QStringList liste(stations.begin(), stations.end());
    liste.sort();
    return liste;
}

} // namespace pv
