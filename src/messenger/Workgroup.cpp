#include "messenger/Workgroup.h"

#include "messenger/Interfaces.h"
#include "messenger/NameQuery.h"
#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>

namespace pv {

namespace {

std::string withoutBlanks(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        if (c != ' ' && c != '\t') {
            out.push_back(c);
        }
    }
    return codec::toUpperText(out);
}

} // namespace

std::string sambaConfigPath()
{
    const char* path = std::getenv("PILVANOR_SMB_CONF");
    return path != nullptr && *path != '\0' ? path : "/etc/samba/smb.conf";
}

std::string sambaGlobalParameter(std::string_view name)
{
    std::ifstream file(sambaConfigPath());
    const std::string wanted = withoutBlanks(name);
    std::string value;
    std::string raw;
    bool global = false;
    while (std::getline(file, raw)) {
        const std::string_view line = codec::trimmedText(raw);
        if (line.empty() || line.front() == ';' || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            const size_t end = line.find(']');
            global = end != std::string_view::npos && withoutBlanks(line.substr(1, end - 1)) == "GLOBAL";
            continue;
        }
        const size_t eq = line.find('=');
        if (global && eq != std::string_view::npos && withoutBlanks(line.substr(0, eq)) == wanted) {
            value = codec::trimmedText(line.substr(eq + 1)); // the last setting wins
        }
    }
    return value;
}

std::string machineWorkgroup()
{
    const std::string group = codec::toUpperText(sambaGlobalParameter("workgroup"));
    return group.empty() ? "WORKGROUP" : group;
}

std::vector<uint32_t> winsServers()
{
    // "wins server = 10.0.0.1 10.0.0.2", or with ", " between them; a "tag:address" form names the address last.
    std::vector<uint32_t> servers;
    std::string list = sambaGlobalParameter("wins server");
    std::replace(list.begin(), list.end(), ',', ' ');
    for (size_t start = 0; start < list.size();) {
        const size_t end = std::min(list.find(' ', start), list.size());
        std::string_view word = std::string_view(list).substr(start, end - start);
        word = word.substr(word.find(':') == std::string_view::npos ? 0 : word.find(':') + 1);
        if (const auto ip = ipv4FromText(word)) {
            servers.push_back(*ip);
        }
        start = end + 1;
    }
    return servers;
}

std::vector<std::string> listWorkgroupStations(std::string_view group, int timeoutMs, uint16_t nameServicePort)
{
    using namespace codec;
    const Result<NetbiosName> name = netbiosNameFromText(group, kSuffixWorkstation, OemCodePage::Cp850);
    if (!name) {
        return {};
    }
    // Each member answers with its own address; the query goes out three times over the wait (UDP may lose it).
    const std::vector<uint32_t> members
        = broadcastNameQuery(*name, {nameServicePort, std::max(timeoutMs, 0), 3, false}).value_or({});
    // A node status tells the names a member holds; a request still unanswered halfway is sent again.
    std::set<std::string> stations;
    const auto status = nodeStatus(members, {nameServicePort, std::max(timeoutMs, 0), 2, false});
    for (const auto& [ip, names] : status.value_or({})) {
        for (const NodeStatusEntry& entry : names) {
            // Computers only: a <03> name may be a user or an alias of some other station.
            if (!(entry.flags & kNbGroup)
                && (entry.name.suffix == kSuffixWorkstation || entry.name.suffix == kSuffixServer)) {
                stations.insert(decodeOemText(entry.name.name, OemCodePage::Cp850));
            }
        }
    }
    return {stations.begin(), stations.end()};
}

} // namespace pv
