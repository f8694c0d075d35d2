#pragma once

/** Runs the program with windows: the whole of it, so that main() is one line. */
class VXDesktop
{
public:
    /** @return the exit status. Call once, on the main thread. */
    [[nodiscard]] static int run(int argc, char **argv);

    VXDesktop() = delete;
};
