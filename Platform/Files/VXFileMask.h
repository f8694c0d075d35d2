#pragma once

#include <sys/stat.h>

/** Whatever mask the program was started with, its user may read and write the files that it makes; what others may stays as the
 *  mask says. At the start of a program, before there are threads. */
inline void VXLetUserHaveOwnFiles()
{
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    ::umask(::umask(others) & others);
}
