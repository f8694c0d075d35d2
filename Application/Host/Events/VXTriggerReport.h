#pragma once

#include "VXTrigger.h"

#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** Information about one trigger, for people and as JSON. Must not outlive the trigger's context. */
class VXTriggerReport
{
public:
    explicit VXTriggerReport(const VXTrigger &trigger) : _trigger(trigger) {}

    QJsonObject json() const;
    /** A row for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

    /** What would happen with an event with that object; `lines` is for people. */
    QJsonObject test(const QVariant &object, QStringList *lines) const;

    /** Everything, with the options as the reactors get them; for people. */
    QStringList lines() const;

private:
    const VXTrigger _trigger;
};

/**
 * The user's triggers, such as "Calls of Jane (p1)", by the identifiers of the plugins that they run, or that contain
 * those.
 */
[[nodiscard]] QMap<QString, QStringList> VXTriggersByPlugin();
