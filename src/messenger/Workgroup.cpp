#include "messenger/Workgroup.h"

#include "messenger/NameQuery.h"

#include <QFile>
#include <QSet>

namespace pv {

QString machineWorkgroup()
{
    const QString fallback = QStringLiteral("WORKGROUP");
    QString path = qEnvironmentVariable("PILVANOR_SMB_CONF");
    if (path.isEmpty()) {
        path = QStringLiteral("/etc/samba/smb.conf");
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return fallback;
    }
    QString group;
    bool global = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(u';') || line.startsWith(u'#')) {
            continue;
        }
        if (line.startsWith(u'[')) {
            const qsizetype end = line.indexOf(u']');
            global = end > 0 && line.mid(1, end - 1).trimmed().compare(u"global", Qt::CaseInsensitive) == 0;
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (!global || eq < 0) {
            continue;
        }
        // Samba ignores case and blanks in parameter names ("Work Group" is "workgroup"); the last setting wins.
        if (line.left(eq).remove(u' ').remove(u'\t').compare(u"workgroup", Qt::CaseInsensitive) == 0) {
            group = line.mid(eq + 1).trimmed().toUpper();
        }
    }
    return group.isEmpty() ? fallback : group;
}

QStringList listWorkgroupStations(const QString& group, int timeoutMs, uint16_t nameServicePort)
{
    using namespace codec;
    const Result<NetbiosName> name = netbiosNameFromText(group, kSuffixWorkstation, OemCodePage::Cp850);
    if (!name) {
        return {};
    }
    // Each member answers with its own address; the query goes out three times over the wait (UDP may lose it).
    const std::vector<uint32_t> members = broadcastNameQuery(*name, {nameServicePort, qMax(timeoutMs, 0), 3, false});
    // A node status tells the names a member holds; a request still unanswered halfway is sent again.
    QSet<QString> stations;
    for (const auto& [ip, names] : nodeStatus(members, {nameServicePort, qMax(timeoutMs, 0), 2, false})) {
        for (const NodeStatusEntry& entry : names) {
            // Computers only: a <03> name may be a user or an alias of some other station.
            if (!(entry.flags & kNbGroup)
                && (entry.name.suffix == kSuffixWorkstation || entry.name.suffix == kSuffixServer)) {
                stations.insert(decodeOemText(entry.name.name, OemCodePage::Cp850));
            }
        }
    }
    QStringList list(stations.begin(), stations.end());
    list.sort();
    return list;
}

} // namespace pv
