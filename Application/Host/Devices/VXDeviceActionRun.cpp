#include "VXDeviceActionRun.h"

#include "VXApplication.h"
#include "VXDeviceReport.h"
#include "VXDeviceURL.h"
#include "VXErrorText.h"
#include "VXHostCommand.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginGuard.h"
#include "VXReadableText.h"

#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds redrawInterval{50}; // many steps may be reported at once

} // namespace

VXDeviceActionRun::VXDeviceActionRun(VXHostContext &context, const VXDeviceAction::Ptr &action)
    : _context(context), _action(action), _writesLines(context.options.isSet(u"json-lines"_s)),
      _hasConcluded(std::make_shared<bool>(false)),
      _window(VXApplication::sharedApplication().userInterface().makeProgressWindow(action->actionName()))
{
}

VXDeviceActionRun::~VXDeviceActionRun() = default;

int VXDeviceActionRun::run(const VXDevicePlugin::Ptr &device, std::chrono::milliseconds timeout)
{
    if (_writesLines)
        _context.output.beginParts();
    execute(device, timeout);
    return answer();
}

QString VXDeviceActionRun::runQuietly(const VXDevicePlugin::Ptr &device)
{
    execute(device, {});
    return failure();
}

void VXDeviceActionRun::execute(const VXDevicePlugin::Ptr &device, std::chrono::milliseconds timeout)
{
    const auto conclude = [this, concluded = std::weak_ptr(_hasConcluded)](VXDeviceAction *) {
        if (concluded.expired())
            return; // nobody is waiting any more
        *_hasConcluded = true;
        if (_window->isRunning())
            _window->ok();
    };
    // If a handler throws something that is not an exception, it passes through after the action has failed with it.
    VXCallPlugin(*device, "executeWithDevice", [&] { _action->executeWithDevice(device, conclude); });
    if (!*_hasConcluded)
        waitForConclusion(timeout);
}

void VXDeviceActionRun::waitForConclusion(std::chrono::milliseconds timeout)
{
    QTimer redraw;
    redraw.setSingleShot(true);
    redraw.setInterval(redrawInterval);
    QObject::connect(&redraw, &QTimer::timeout, &redraw, [this] { showProgress(); });
    QObject::connect(_action.get(), &VXDeviceAction::progressDidChange, &redraw, [&redraw] {
        if (!redraw.isActive())
            redraw.start();
    });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &limit, [this] {
        _context.output.note(u"the time is up; cancelling"_s);
        _action->cancel();
    });
    if (timeout.count() > 0)
        limit.start(timeout);
    _window->setCancelHandler([this] { userDidCancel(); });
    QTimer::singleShot(0, &redraw, [this] { showProgress(); }); // once Ctrl-C is handled
    static_cast<void>(_window->runModal());
}

void VXDeviceActionRun::userDidCancel()
{
    if (_action->isCancelled())
        return _window->cancel();
    _context.output.note(u"cancelling; interrupt again to end at once"_s);
    _action->cancel();
}

void VXDeviceActionRun::showProgress()
{
    const VXActivity::Ptr activity = _action->activity();
    if (!activity)
        return;
    _window->setTitle(activity->title());
    _window->setMessage(activity->subtitle());
    _window->setMaxValue(activity->maxValue());
    _window->setDoubleValue(activity->doubleValue());
    if (!_writesLines)
        return;
    const QByteArray line = VXJSONText(QJsonObject{{u"progress"_s, QJsonObject{{u"title"_s, activity->title()},
                                                                               {u"status"_s, activity->subtitle()},
                                                                               {u"value"_s, activity->doubleValue()},
                                                                               {u"maximum"_s, activity->maxValue()}}}});
    if (std::exchange(_lastLine, line) == line)
        return;
    _context.output.writePart(line);
    _context.output.flush();
}

QString VXDeviceActionRun::failure() const
{
    if (_action->isCancelled())
        return u"%1 was cancelled"_s.arg(_action->actionName());
    if (const VXError error = _action->error(); !error.isNull())
        return VXErrorText(error);
    return *_hasConcluded ? QString() : u"%1 did not end"_s.arg(_action->actionName());
}

// A failed action may have done a part, which is shown too.
int VXDeviceActionRun::answer()
{
    const QString failure = this->failure();
    const QJsonValue result = VXJSONFromVariant(_action->result());
    QJsonObject outcome;
    if (failure.isNull() || !result.isNull())
        outcome.insert(u"result"_s, result);
    if (!failure.isNull())
        outcome.insert(u"error"_s, failure);
    if (_writesLines) {
        _context.output.writePart(VXJSONText(outcome));
    } else if (outcome.contains(u"result"_s)) {
        outcome.insert(u"url"_s, VXAbsoluteString(_action->device()->url()));
        outcome.insert(u"action"_s, _action->actionName());
        _context.output.answer(VXReadableText(result), outcome);
        _context.output.flush(); // before the failure is reported
    }
    return failure.isNull() ? static_cast<int>(VXHostOutput::Done) : _context.output.fail(failure);
}
