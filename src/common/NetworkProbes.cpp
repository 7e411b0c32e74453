#include "common/NetworkProbes.h"

#include <QByteArray>

#include <unistd.h>

namespace pv {

QString gObtenirNomHote()
{
    char buffer[256] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0) {
        return {};
    }
    return QString::fromLocal8Bit(buffer);
}

} // namespace pv
