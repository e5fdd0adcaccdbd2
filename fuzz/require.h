#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the process when a property does not hold, which is what a fuzzer calls a find.
inline void require(bool holds, const char* property)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
}
