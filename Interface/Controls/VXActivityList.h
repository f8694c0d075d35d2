#pragma once

#include "VXActivity.h"
#include "VXInterfaceExport.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

/**
 * The running activities for views, in the order in which they began; those that were running before the list was made
 * come first. Activities that take less than half a second are not listed. While there are any, views are notified ten
 * times a second to refresh. Main thread only.
 */
class VX_INTERFACE_EXPORT VXActivityList : public QObject
{
    Q_OBJECT

public:
    explicit VXActivityList(QObject *parent = nullptr);
    ~VXActivityList() override;

    QList<VXActivity::Ptr> activities() const;
    /** Milliseconds before an activity is listed; half a second by default. */
    void setDelay(int milliseconds) { _delay = milliseconds; }

Q_SIGNALS:
    /** The set of activities has changed. */
    void activitiesDidChange();
    /** Their values may have changed. */
    void progressDidChange();

private:
    struct Entry
    {
        VXActivity::Ptr activity;
        QElapsedTimer since;
        bool isShown = false;
    };

    void add(const QString &identifier);
    void remove(const QString &identifier);
    void look();

    QList<Entry> _entries;
    QTimer _look;
    int _delay = 500;
};
