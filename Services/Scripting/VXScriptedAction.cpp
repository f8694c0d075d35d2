#include "VXScriptedAction.h"

#include "VXDBusValue.h"
#include "VXDeviceURL.h"
#include "VXPluginGuard.h"
#include "VXScriptingCalls.h"

#include <QtCore/QPointer>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr auto progressInterval = 50ms;
constexpr auto keptAfterEnd = 60s; // for who asks late

} // namespace

VXScriptedAction::VXScriptedAction(VXScriptingCalls &calls, const VXDeviceAction::Ptr &action,
                                   const VXDevicePlugin::Ptr &device, const QString &path, QObject *parent)
    : QObject(parent), _calls(calls), _action(action), _device(device)
{
    _progress.setSingleShot(true);
    _progress.setInterval(progressInterval);
    connect(&_progress, &QTimer::timeout, this, &VXScriptedAction::tellProgress);
    // Steps are told on the threads that make them.
    connect(
        _action.get(), &VXDeviceAction::progressDidChange, this,
        [this] {
            if (!_progress.isActive() && !_hasConcluded)
                _progress.start();
        },
        Qt::QueuedConnection);
    QDBusConnection(_calls.connection())
        .registerObject(path, this, QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals);
}

VXScriptedAction::~VXScriptedAction() = default;

void VXScriptedAction::start()
{
    // What a handler throws that is no exception comes through, once the action has failed with it.
    VXCallPlugin(*_device, "executeWithDevice", [&] {
        _action->executeWithDevice(_device, [self = QPointer(this)](VXDeviceAction *) {
            if (self)
                QMetaObject::invokeMethod( // the caller learns of the object first
                    self, [self] { self->concluded(); }, Qt::QueuedConnection);
        });
    });
}

void VXScriptedAction::tellProgress()
{
    const VXActivity::Ptr activity = _action->activity();
    if (activity && !_hasConcluded)
        Q_EMIT Progress(activity->title(), activity->subtitle(), activity->doubleValue(), activity->maxValue());
}

QString VXScriptedAction::failure() const
{
    if (_action->isCancelled())
        return u"%1 was cancelled"_s.arg(_action->actionName());
    const VXError error = _action->error();
    return error.isNull() ? u""_s : error.localizedText();
}

QDBusVariant VXScriptedAction::result() const
{
    const QVariant carried = VXCarriedByDBus(_action->result());
    return QDBusVariant(carried.isValid() ? carried : QVariant(u""_s));
}

void VXScriptedAction::concluded()
{
    _hasConcluded = true;
    Q_EMIT Concluded(result(), failure());
    for (const QDBusMessage &call : std::exchange(_waiting, {}))
        answer(call);
    QTimer::singleShot(keptAfterEnd, this, &QObject::deleteLater);
}

void VXScriptedAction::answer(const QDBusMessage &call)
{
    if (const QString text = failure(); !text.isEmpty())
        _calls.refuse(call, {_action->isCancelled() ? u"Cancelled"_s : u"Failed"_s, text});
    else
        _calls.connection().send(call.createReply(QVariant::fromValue(result())));
}

void VXScriptedAction::Cancel(const QDBusMessage &call)
{
    _calls.serve(call, [this] {
        if (!_hasConcluded)
            _action->cancel();
    });
}

void VXScriptedAction::Wait(const QDBusMessage &call, QDBusVariant &result)
{
    result = _calls.serve(call, [&] {
        call.setDelayedReply(true);
        if (_hasConcluded)
            answer(call);
        else
            _waiting.append(call);
        return QDBusVariant();
    });
}

void VXScriptedAction::Info(const QDBusMessage &call, QVariantMap &info)
{
    info = _calls.serve(call, [this] {
        QVariantMap shown{{u"name"_s, _action->actionName()},
                          {u"device"_s, VXAbsoluteString(_device->url())},
                          {u"isExecuting"_s, !_hasConcluded},
                          {u"error"_s, failure()}};
        if (const VXActivity::Ptr activity = _action->activity()) {
            shown.insert(u"title"_s, activity->title());
            shown.insert(u"status"_s, activity->subtitle());
            shown.insert(u"value"_s, activity->doubleValue());
            shown.insert(u"maximum"_s, activity->maxValue());
        }
        return VXCarriedByDBus(shown).toMap();
    });
}
