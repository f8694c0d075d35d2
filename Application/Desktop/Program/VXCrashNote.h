#pragma once

#include <QtCore/QString>

#include <optional>

/**
 * A note that is left when the program crashes: the plugin whose code it was in, if it was in one's. For the next start to tell; what
 * plugins do while they are loaded the plugin manager tells. Made once, on the main thread, before plugins are started.
 */
class VXCrashNote
{
public:
    /** Takes the note of the run before, and has crashes noted from here on, which end the program with their signal as ever. */
    VXCrashNote();

    /** The path of the plugin, empty when it was none's code; none when the run before did not crash. */
    const std::optional<QString> &before() const { return _before; }

private:
    std::optional<QString> _before;
};
