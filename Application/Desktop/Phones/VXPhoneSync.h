#pragma once

#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"

#include <QtCore/QObject>
#include <QtCore/QStringList>

/**
 * Brings one phone and the stores into step: contacts, messages, calls, as far as the phone gives them, one after the other, the
 * rest also when one fails. Shown as the activities of its actions. Main thread.
 */
class VXPhoneSync : public QObject
{
    Q_OBJECT

public:
    VXPhoneSync(const VXDevicePlugin::Ptr &device, QObject *parent);
    ~VXPhoneSync() override;

    void start();
    /** Asks the one that runs to abort; the others do not begin. */
    void stop();
    bool isRunning() const { return _action != nullptr; }
    /** How far: the title, the value and the maximum of what runs. */
    VXActivity::Ptr activity() const { return _action ? _action->activity() : nullptr; }

Q_SIGNALS:
    void progressDidChange();
    /** What went wrong, a sentence for each; empty when all is well. And what is to be told besides. */
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
