#pragma once

/** Runs the program with windows: all of it, so that main() is a single line. */
class VXDesktop
{
public:
    /** @return the exit status. Call once, on the main thread. */
    [[nodiscard]] static int run(int argc, char **argv);

    VXDesktop() = delete;
};
