#include "VXDeviceAction.h"

#include "VXActivityManager.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXKeyValueCoding.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"

using namespace Qt::StringLiterals;

VXDeviceAction::Ptr VXDeviceAction::actionWithName(const QString &theActionName)
{
    return std::make_shared<VXDeviceAction>(theActionName);
}

VXDeviceAction::VXDeviceAction(const QString &theActionName) : _actionName(theActionName)
{
    VXAssert(!theActionName.isNull(), u"theActionName can not be nil"_s);
}

VXDeviceAction::~VXDeviceAction() = default;

void VXDeviceAction::reportFaultOfSlot() const
{
    VXLogMethod(VXLogError, "tell", "A slot connected to an action threw: "_L1 + VXDescribeThrown().description);
}

// -- What it is

VXDevicePlugin::Ptr VXDeviceAction::device() const
{
    const VXMutexLocker lock(_lock);
    return _device;
}

QVariant VXDeviceAction::object() const
{
    const VXMutexLocker lock(_lock);
    return _object;
}

void VXDeviceAction::setObject(const QVariant &object)
{
    // The former values are destroyed after the lock is released, since that may run foreign code.
    QVariant kept = object;
    QVariant context = VXValueForKey(object, u"managedObjectContext"_s);
    const VXMutexLocker lock(_lock);
    if (_object == kept)
        return;
    _object.swap(kept);
    _object_cntx.swap(context);
}

QVariant VXDeviceAction::result() const
{
    const VXMutexLocker lock(_lock);
    return _result;
}

void VXDeviceAction::setResult(const QVariant &result)
{
    QVariant kept = result; // after the swap the former value, destroyed after the lock is released
    const VXMutexLocker lock(_lock);
    _result.swap(kept);
}

void VXDeviceAction::setTaker(const Taker &taker)
{
    Taker kept = taker;
    const VXMutexLocker lock(_lock);
    _taker.swap(kept);
}

bool VXDeviceAction::handOver(const Portion &portion, const std::function<void()> &next)
{
    Taker taker;
    {
        const VXMutexLocker lock(_lock);
        taker = _taker;
    }
    if (taker)
        taker(portion, next);
    return bool(taker);
}

QString VXDeviceAction::description() const
{
    const VXError found = error();
    return u"<%1: 0x%2> %3 %4"_s.arg(VXClassName(typeid(*this)), QString::number(reinterpret_cast<quintptr>(this), 16),
                                     _actionName, found.isNull() ? u"no error"_s : found.description());
}

// -- Progress

template <class Change>
bool VXDeviceAction::changeActivity(const Change &change)
{
    const VXActivity::Ptr shown = activity();
    if (!shown)
        return false;
    change(*shown);
    tell(&VXDeviceAction::progressDidChange);
    return true;
}

void VXDeviceAction::setTitle(const QString &title)
{
    if (changeActivity([&](VXActivity &shown) { shown.setTitle(title); }))
        return;
    VXActivity::Ptr made = // its stop control calls the delegate's `cancel`
        VXActivityManager::sharedActivityManager().addActivityWithTitle(title, this);
    {
        const VXMutexLocker lock(_lock);
        _activity.swap(made);
    }
    tell(&VXDeviceAction::progressDidChange);
}

void VXDeviceAction::setStatusText(const QString &text)
{
    changeActivity([&](VXActivity &shown) { shown.setSubtitle(text); });
}

double VXDeviceAction::progressValue() const
{
    const VXActivity::Ptr shown = activity();
    return shown ? shown->doubleValue() : 0.0;
}

void VXDeviceAction::setProgressValue(double value)
{
    changeActivity([&](VXActivity &shown) { shown.setDoubleValue(value); });
}

void VXDeviceAction::setProgressMaxValue(double value)
{
    changeActivity([&](VXActivity &shown) { shown.setMaxValue(value); });
}

void VXDeviceAction::incrementProgress()
{
    changeActivity([](VXActivity &shown) { shown.increment(); });
}

VXActivity::Ptr VXDeviceAction::activity() const
{
    const VXMutexLocker lock(_lock);
    return _activity;
}

// -- Errors

VXError VXDeviceAction::error() const
{
    const VXMutexLocker lock(_lock);
    return _error;
}

void VXDeviceAction::setError(const VXError &error)
{
    if (error.isNull())
        return;
    VXError earlier;
    {
        const VXMutexLocker lock(_lock);
        earlier = _error;
        if (earlier.isNull()) {
            QVariantMap info = error.userInfo();
            info.insert(VXErrorDomainActionNameKey, _actionName);
            if (_device)
                info.insert(VXErrorDomainDeviceURLKey, _device->url());
            _error = VXError(error.domain(), error.code(), info);
        }
    }
    if (earlier.isNull())
        return tell(&VXDeviceAction::errorDidOccur, this->error());
    const auto reason = earlier.code() == VXErrorCancelled ? "Ignoring error after abort: "_L1
                                                           : "Ignoring error after previous error: "_L1;
    VXLogMethod(VXLogWarning, "setError:", reason + error.description());
}

void VXDeviceAction::setErrorString(const QString &text)
{
    setError(VXError(VXErrorDomain, VXErrorTextOnly, {{VXLocalizedDescriptionKey, text}}));
}
