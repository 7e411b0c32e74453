#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pv {

// Samba's smb.conf: PILVANOR_SMB_CONF names another file than /etc/samba/smb.conf.
std::string sambaConfigPath();
// The last value of a parameter of the [global] section, "" when it is not set. Samba ignores case and blanks in
// parameter names ("Work Group" is "workgroup").
std::string sambaGlobalParameter(std::string_view name);

// The workgroup of this machine: "workgroup" of smb.conf, upper-cased, else "WORKGROUP".
std::string machineWorkgroup();
// The WINS servers of smb.conf ("wins server"), IPv4 addresses in host order.
std::vector<uint32_t> winsServers();

// The stations of a workgroup on the local subnet: a broadcast query of GROUP<00>, which every member answers,
// then a node status of each member; its unique computer (<00>) and server (<20>) names, sorted.
std::vector<std::string> listWorkgroupStations(std::string_view group, int timeoutMs, uint16_t nameServicePort = 137);

} // namespace pv
