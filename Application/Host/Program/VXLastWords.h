#pragma once

#include <optional>

class VXHostOutput;

/**
 * Tells on standard error when the program comes to a sudden end among its plugins: a crash, and which plugin was at work
 * then; or a plugin that calls exit(), after which the user's changes are saved and the exit status tells the truth. One at
 * a time. Crashes end the process with their signal, as they would without.
 */
class VXLastWords
{
public:
    /** The output must live as long as the object. */
    explicit VXLastWords(VXHostOutput &output);
    ~VXLastWords();
    VXLastWords(const VXLastWords &) = delete;
    VXLastWords &operator=(const VXLastWords &) = delete;

    /** The command is done, and its answer written: the status that the program ends with, whatever a plugin asks for. */
    void setStatus(int status) { _status = status; }

private:
    static void atExit();
    void tellOfExit();

    VXHostOutput &_output;
    std::optional<int> _status;
};
