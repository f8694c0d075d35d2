#include "VXPhoneSync.h"

#include "VXApplication.h"
#include "VXDesktopText.h"
#include "VXPluginGuard.h"

#include <QtCore/QPointer>

using namespace Qt::StringLiterals;

VXPhoneSync::VXPhoneSync(const VXDevicePlugin::Ptr &device, QObject *parent) : QObject(parent), _device(device) {}

VXPhoneSync::~VXPhoneSync() = default;

void VXPhoneSync::start()
{
    const QStringList known = _device->actionNames();
    for (const QString &name : {u"sync_contacts"_s, u"sync_messages"_s, u"sync_calls"_s}) {
        if (known.contains(name))
            _due.append(name);
    }
    if (_due.isEmpty())
        _problems.append(VXText("This phone has nothing that could be synced."));
    runNext();
}

void VXPhoneSync::stop()
{
    _isStopped = true;
    _due.clear();
    if (_action)
        _action->cancel();
}

void VXPhoneSync::runNext()
{
    if (_due.isEmpty()) {
        _action.reset();
        Q_EMIT didEnd(_problems, _notices, _isStopped);
        return;
    }
    _name = _due.takeFirst();
    run(false);
}

void VXPhoneSync::run(bool acceptsDeletions)
{
    _action = VXDeviceAction::actionWithName(_name);
    _action->setObject(QVariantMap{{u"acceptsDeletions"_s, acceptsDeletions}, {u"addsAll"_s, false}});
    connect(_action.get(), &VXDeviceAction::progressDidChange, this, &VXPhoneSync::progressDidChange);
    VXCallPlugin(*_device, "executeWithDevice", [this] {
        _action->executeWithDevice(_device, [self = QPointer(this)](VXDeviceAction *) {
            if (self) // not from within the action's own end
                QMetaObject::invokeMethod(self, &VXPhoneSync::concluded, Qt::QueuedConnection);
        });
    });
    Q_EMIT progressDidChange();
}

void VXPhoneSync::concluded()
{
    const VXDeviceAction::Ptr action = _action;
    if (const VXError error = action->error(); !error.isNull() && !action->isCancelled())
        _problems.append(error.localizedText());
    const QString question = action->result().toMap().value(u"question"_s).toString();
    if (!question.isEmpty() && !_isStopped) {
        VXAlert alert;
        alert.message = question;
        alert.informativeText = VXText("Shall they be deleted on the other side too?");
        alert.defaultButton = VXText("Delete");
        alert.alternateButton = VXText("Cancel");
        const QPointer self(this);
        const bool isYes =
            VXApplication::sharedApplication().userInterface().runAlert(alert).button == VXAlertButton::Default;
        if (!self) // the phone was forgotten meanwhile
            return;
        if (isYes && !_isStopped)
            return run(true);
    }
    takeNotices(action->result().toMap());
    runNext();
}

// Something that the phone does not accept is a problem only the first time.
void VXPhoneSync::takeNotices(const QVariantMap &result)
{
    _notices += result.value(u"notices"_s).toStringList() + result.value(u"conflicts"_s).toStringList();
    const QStringList refused = result.value(u"names"_s).toMap().value(u"refused"_s).toStringList();
    if (!refused.isEmpty())
        _notices.append(VXText("Still refused by the phone: %1").arg(refused.join(", "_L1)));
}
