#pragma once

#include "VXCallRecord.h"
#include "VXManagedObject.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

/** What an event says about a call. */
struct VXCallNews
{
    QString state;     // "ringing", "connected" or "ended"
    VXCallRecord call; // with the date of the event
};

/** A call of the history (entity "VXCall" of the store "calls"). Keeps the texts for searching in step when it is saved. */
class VXCall : public VXManagedObject
{
public:
    static const QString entityName; // "VXCall"

    /** A call does not go back to an earlier state; what is known of it stays unless there is better news. */
    void take(const VXCallNews &news);

    /** For a list of phonebook strings: each name and, in the form for look-ups, each address. Null for none. */
    static QString searchForm(const QString &phonebookStrings);

protected:
    void willSave() override;

private:
    QDateTime date(const QString &key) const;
    void takeText(const QString &text, const QString &key);
};
