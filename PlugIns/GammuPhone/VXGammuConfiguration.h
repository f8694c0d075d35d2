#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <chrono>
#include <gammu.h>

class VXDevicePlugin;

/**
 * How a phone is reached: by a section of the library's own configuration file, or by model, connection and port. A
 * value, read from a device's preferences. Null texts are not set.
 */
struct VXGammuConfiguration
{
    QString file;                     // none, with a section: where the library looks by itself
    QString section;                  // "gammu", "gammu1", ..., or only the number; none: "gammu"
    QString model;                    // none: asked from the phone
    QString connection;               // as "at", "none"
    QString port;                     // as /dev/ttyACM0
    std::chrono::seconds timeout{30}; // of silence, after which a phone counts as one that does not answer

    static VXGammuConfiguration fromPreferences(const VXDevicePlugin &device);

    /** Prepares the state machine; the error, if any, is for the user. */
    VXError applyTo(GSM_StateMachine *machine) const;

private:
    VXError readSection(GSM_Config *target) const;
    VXError setValues(GSM_Config *target) const;
};
