#pragma once

#include "VXActivity.h"
#include "VXInterfaceExport.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

/**
 * The running activities for views, in the order in which they began; those that ran before the list was made come first. One
 * that takes less than half a second is not among them. While there are any, views are told ten times a second to look again. Main thread only.
 */
class VX_INTERFACE_EXPORT VXActivityList : public QObject
{
    Q_OBJECT

public:
    explicit VXActivityList(QObject *parent = nullptr);
    ~VXActivityList() override;

    QList<VXActivity::Ptr> activities() const;
    /** Milliseconds before an activity is shown; half a second unless set. For tests too. */
    void setDelay(int milliseconds) { _delay = milliseconds; }

Q_SIGNALS:
    /** Another set of activities. */
    void activitiesDidChange();
    /** Their values may have moved. */
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
