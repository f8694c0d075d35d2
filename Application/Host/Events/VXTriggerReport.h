#pragma once

#include "VXManagedObject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** What there is to tell of one trigger, for people and as JSON. Lives no longer than the trigger's context. */
class VXTriggerReport
{
public:
    explicit VXTriggerReport(const VXManagedObject &trigger) : _trigger(trigger) {}

    /** As its URI has it: "p3". */
    QString shortID() const;
    /** What the user calls it, else its event. */
    QString title() const;

    QJsonObject json() const;
    /** A line for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

    /** What would come of an event with that object; lines for people. */
    QJsonObject test(const QVariant &object, QStringList *lines) const;

private:
    QString text(const QString &key) const { return _trigger.valueForKey(key).toString(); }
    bool flag(const QString &key) const { return _trigger.valueForKey(key).toBool(); }
    QString filterText() const;
    QList<VXManagedObjectPtr> reactors() const;
    QJsonObject testFilter(const QVariant &object, QString *line) const;

    const VXManagedObject &_trigger;
};
