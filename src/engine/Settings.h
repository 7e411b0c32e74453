#pragma once

#include "common/Parametres.h"

namespace pv {

// Reads every setting of the table with its default into gParametres(). A value that does not convert leaves the
// former one in place.
void gChargerParametres();

} // namespace pv
