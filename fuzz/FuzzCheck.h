#pragma once

#include <cstdlib>

// A broken round trip is a finding: stop so that the fuzzer (or the corpus replay) reports it.
#define PV_FUZZ_CHECK(condition) \
    do {                         \
        if (!(condition)) {      \
            std::abort();        \
        }                        \
    } while (false)
