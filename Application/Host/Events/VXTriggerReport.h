#pragma once

#include "VXTrigger.h"

#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** What there is to tell of one trigger, for people and as JSON. Lives no longer than the trigger's context. */
class VXTriggerReport
{
public:
    explicit VXTriggerReport(const VXTrigger &trigger) : _trigger(trigger) {}

    QJsonObject json() const;
    /** A line for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

    /** What would come of an event with that object; lines for people. */
    QJsonObject test(const QVariant &object, QStringList *lines) const;

    /** All of it, with the options as the reactors get them; for people. */
    QStringList lines() const;

private:
    const VXTrigger _trigger;
};

/** The user's triggers, "Calls of Jane (p1)", by the identifiers of the plugins that they run, or that hold those. */
[[nodiscard]] QMap<QString, QStringList> VXTriggersByPlugin();
