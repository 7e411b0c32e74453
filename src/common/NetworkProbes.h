#pragma once

#include <QString>

namespace pv {

// The local host name, or "" when the system cannot tell.
QString gObtenirNomHote();

// The program runs only where the message service can; on Linux that is always so.
inline bool gVerifierWindowsNT()
{
    return true;
}

} // namespace pv
