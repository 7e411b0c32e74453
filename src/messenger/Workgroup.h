#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

namespace pv {

// The workgroup of this machine: "workgroup" of the [global] section of Samba's smb.conf (PILVANOR_SMB_CONF
// names another file), upper-cased, else "WORKGROUP".
QString machineWorkgroup();

// The stations of a workgroup on the local subnet: a broadcast query of GROUP<00>, which every member answers,
// then a node status of each member; its unique computer (<00>) and server (<20>) names, sorted.
QStringList listWorkgroupStations(const QString& group, int timeoutMs, uint16_t nameServicePort = 137);

} // namespace pv
