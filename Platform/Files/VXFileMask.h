#pragma once

#include <sys/stat.h>

/**
 * Lets the user read and write the files that the program makes, whatever umask it was started with; the bits for
 * others are kept. To be called at the start of a program, before there are threads.
 */
inline void VXLetUserHaveOwnFiles()
{
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    ::umask(::umask(others) & others);
}
