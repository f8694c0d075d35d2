#pragma once

/** Runs the command line program: all of it, so that main() is a single line. */
class VXHost
{
public:
    /** @return the exit status: 0 done, 1 failed, 2 wrong usage. Call once, on the main thread. */
    [[nodiscard]] static int run(int argc, char **argv);

    VXHost() = delete;
};
