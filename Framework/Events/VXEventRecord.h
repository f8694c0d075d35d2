#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <optional>

/** What became of one reactor of a trigger. */
struct VX_EXPORT VXReactionRecord
{
    enum class Outcome {
        Done,
        Failed,
        Missing,
        Running, // it goes on after the event: what comes of it is told later
    };

    QString identifier = {}; // of the reactor plugin
    Outcome outcome = Outcome::Done;
    QStringList problems = {}; // what it threw, and the errors that it showed the user
    QString remark = {}; // what it says of a success: where something waits that is not done yet; null for nothing
    double milliseconds = 0;
};

/** What became of one trigger of an event. */
struct VX_EXPORT VXTriggerRecord
{
    enum class Outcome { Ran, Rejected, Disabled, Broken };

    QString uri = {};
    QString name = {}; // the one the user gave it; empty for none
    Outcome outcome = Outcome::Ran;
    QString filter = {};  // its predicate; null without one
    QString problem = {}; // of a filter that does not work, or has no value to go by
    QList<VXReactionRecord> reactions = {};

    bool isFailure() const;
};

/** One posting of an event: what was posted, which triggers were considered, and what came of each. A value type. */
struct VX_EXPORT VXEventRecord
{
    QString identifier = {}; // given by the history; null before
    QDateTime date = {};
    qint64 process = 0;
    QString name = {};
    QString subtype = {}; // null for none

    /** The object, as far as it can be kept: a map, or the URI of a stored object; else its class. */
    QVariantMap object = {};
    QString objectURI = {};
    QString objectClass = {};
    QString who = {}; // of a call or message: what people call the other party, by the phonebook; null for none

    QList<VXTriggerRecord> triggers = {}; // in the order they were looked at
    qsizetype omittedTriggers = 0;        // further ones that did not run
    QString problem = {};                 // why the triggers could not be looked at
    double milliseconds = 0;

    /** True while what some reactor began goes on. */
    bool isRunning() const;
    /** True when something did not work that the user counts on. */
    bool isFailure() const;
    /** False when the object is not kept: what was posted cannot be posted again. */
    bool isRepeatable() const { return objectClass.isNull(); }
    /** Keeps what can be kept of an event's object. */
    void setObject(const QVariant &value);

    QJsonObject json() const;
    /** Empty for what is no record. */
    static std::optional<VXEventRecord> fromJSON(const QJsonObject &json);
};
