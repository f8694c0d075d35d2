#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <chrono>
#include <gammu.h>

/**
 * How a phone is reached: by a section of the library's own configuration file, or by model, connection and port. A
 * value. Null texts are not set.
 */
struct VXGammuConfiguration
{
    QString file;                     // if there is none but a section: the file the library finds by itself
    QString section;                  // "gammu", "gammu1", ..., or only the number; none: "gammu"
    QString model;                    // none: the phone is asked
    QString connection;               // as "at", "none"
    QString port;                     // as /dev/ttyACM0
    std::chrono::seconds timeout{30}; // of silence, after which a phone counts as one that does not answer

    /** Reads the preferences of the same names, as the plugin's README describes them. */
    static VXGammuConfiguration fromValues(const QVariantMap &values);

    /** Prepares the state machine; the error, if any, is for the user. */
    VXGammuFailure applyTo(GSM_StateMachine *machine) const;

private:
    VXGammuFailure readSection(GSM_Config *target) const;
    VXGammuFailure setValues(GSM_Config *target) const;
};
