#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/** What must hold of every input; aborts, which the fuzzer takes for a find. */
inline void require(bool condition, int line = __builtin_LINE())
{
    if (condition)
        return;
    std::fprintf(stderr, "line %d: the condition does not hold\n", line);
    std::abort();
}
