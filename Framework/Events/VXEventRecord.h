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
        Running, // its work goes on after the event; the outcome is recorded later
    };

    QString identifier = {}; // of the reactor plugin
    Outcome outcome = Outcome::Done;
    QStringList problems = {}; // what the reactor threw, and the errors that it showed the user
    // the reactor's remark on a success, such as where something waits that is not done yet; null for none
    QString remark = {};
    double milliseconds = 0;
};

/** What became of one trigger of an event. */
struct VX_EXPORT VXTriggerRecord
{
    enum class Outcome { Ran, Rejected, Disabled, Broken };

    QString uri = {};
    QString name = {}; // given by the user; empty for none
    Outcome outcome = Outcome::Ran;
    QString filter = {};  // the text of the predicate; null without a filter
    QString problem = {}; // why the filter does not work, or which value it lacks
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

    /** The object, as far as it can be recorded: a map, or the URI of a stored object; otherwise its class. */
    QVariantMap object = {};
    QString objectURI = {};
    QString objectClass = {};
    QString who = {}; // for a call or message: the other party's name in the phonebook; null for none

    QList<VXTriggerRecord> triggers = {}; // in the order in which they were considered
    qsizetype omittedTriggers = 0;        // further triggers that did not run
    QString problem = {};                 // why the triggers could not be considered
    double milliseconds = 0;

    /** Whether the work of a reactor still goes on. */
    bool isRunning() const;
    /** Whether something failed that the user relies on. */
    bool isFailure() const;
    /** Whether the event can be posted again; false when its object could not be recorded. */
    bool isRepeatable() const { return objectClass.isNull(); }
    /** Records of an event's object what can be recorded. */
    void setObject(const QVariant &value);

    QJsonObject json() const;
    /** Empty for JSON that is no record. */
    static std::optional<VXEventRecord> fromJSON(const QJsonObject &json);
};
