#pragma once

#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"

#include <QtCore/QObject>
#include <QtCore/QStringList>

/**
 * Synchronises one phone with the stores: contacts, messages and calls, as far as the phone provides them, one after
 * the other, continuing if one fails. Shown as the activities of its actions. Main thread.
 */
class VXPhoneSync : public QObject
{
    Q_OBJECT

public:
    VXPhoneSync(const VXDevicePlugin::Ptr &device, QObject *parent);
    ~VXPhoneSync() override;

    void start();
    /** Asks the running action to abort; the others are not begun. */
    void stop();
    bool isRunning() const { return _action != nullptr; }
    /** Title, value and maximum of what is running. */
    VXActivity::Ptr activity() const { return _action ? _action->activity() : nullptr; }

Q_SIGNALS:
    void progressDidChange();
    /** `problems`: what went wrong, one sentence for each; empty if nothing did. `notices`: other things the user
     *  should know. */
    void didEnd(const QStringList &problems, const QStringList &notices, bool wasStopped);

private:
    void runNext();
    void run(bool acceptsDeletions);
    void concluded();
    void takeNotices(const QVariantMap &result);

    const VXDevicePlugin::Ptr _device;
    QStringList _due; // names of actions
    QString _name;
    VXDeviceAction::Ptr _action;
    QStringList _problems;
    QStringList _notices;
    bool _isStopped = false;
};
