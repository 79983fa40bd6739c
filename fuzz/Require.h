#pragma once

#include <cstdio>
#include <cstdlib>

/// A broken promise is a finding, in every build type.
#define FUZZ_REQUIRE(condition)                                                                              \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                             \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)
