#include "VXBusDevice.h"

#include "VXBundle.h"
#include "VXBusText.h"
#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

VXBusDevice::VXBusDevice()
{
    _limit.setSingleShot(true);
    connect(&_limit, &QTimer::timeout, this, [this] {
        const VXError silent = VXBusError(VXBusText(u"The phone did not answer in time."_s));
        setState(State::Away, _why.isNull() ? silent : _why);
    });
}

VXBusDevice::~VXBusDevice() = default;

void VXBusDevice::pluginWillUnload()
{
    _isShutdown = true;
    unregisterActionHandlers();
    stopQueues();
    setState(State::Away);
}

QString VXBusDevice::name() const
{
    const QString given = preferenceForKey(u"name"_s).toString();
    const QString own = devicePropertyForKey(u"ownName"_s).toString();
    return !given.isEmpty() ? given : !own.isEmpty() ? own : VXDeviceURLComponent(url(), 1);
}

QString VXBusDevice::phoneNumber() const
{
    const QString number = devicePropertyForKey(u"phoneNumber"_s).value<VXLocalizedProperty>().value().toString();
    return number.isEmpty() ? QString() : number;
}

QString VXBusDevice::preference(const QString &key, const QString &otherwise) const
{
    const QString value = preferenceForKey(key).toString();
    return value.isEmpty() ? otherwise : value;
}

// -- How it stands

VXBusQueue &VXBusDevice::addQueue(const VXBusService::Ptr &service)
{
    _queues.push_back(std::make_unique<VXBusQueue>(service));
    VXBusQueue &queue = *_queues.back();
    connect(&queue, &VXBusQueue::isWanted, this, [this, &queue] {
        if (_state == State::Away)
            reach();
        if (_state == State::Away)
            queue.close(_why.isNull() ? VXBusError(VXBusText(u"The phone is not there."_s)) : _why);
    });
    return queue;
}

void VXBusDevice::setState(State state, const VXError &why, std::chrono::milliseconds limit)
{
    if (_isShutdown && state != State::Away)
        return;
    _why = why;
    if (state == State::Connecting)
        _limit.start(limit);
    else
        _limit.stop();
    const bool isChanged = state != _state;
    // Whoever watches for the phone checks when connecting has ended.
    if (isChanged)
        Q_EMIT willChangeValueForKey(u"isConnecting"_s);
    _state = state;
    if (state != State::Connecting)
        setProblem(state == State::Away ? why : VXError());
    if (state == State::Connected) {
        for (const auto &queue : _queues)
            queue->open();
    } else if (state == State::Away) {
        closeQueues(why);
    }
    if (!isChanged)
        return;
    Q_EMIT didChangeValueForKey(u"isConnecting"_s);
    Q_EMIT connectionDidChange();
}

// -- Finding

void VXBusDevice::search(const VXDeviceFinding::Ptr &finding, const VXBusService::Ptr &service, const QString &remedy,
                         const VXBusQueue::Work &work)
{
    _search = std::make_unique<VXBusQueue>(service);
    _search->enqueue(work, [finding](const QVariantMap &, const VXError &error) {
        if (!error.isNull())
            finding->setProblem(error);
        finding->conclude();
    });
    connect(service.get(), &VXBusService::didAppear, _search.get(), &VXBusQueue::open);
    connect(service.get(), &VXBusService::didFailToStart, _search.get(),
            [queue = _search.get(), remedy](const QString &problem) {
                queue->close(VXBusError(problem, queue->service()->remedyOfStart(remedy)));
            });
    if (service->isThere())
        _search->open();
    else
        service->activate();
}

// -- Queues

void VXBusDevice::stopQueues()
{
    for (const auto &queue : _queues)
        queue->stop();
}

bool VXBusDevice::isAwaited() const
{
    return std::ranges::any_of(_queues, [](const auto &queue) { return queue->isBusy(); });
}

void VXBusDevice::closeQueues(const VXError &why)
{
    const VXError error = why.isNull() ? VXBusError(VXBusText(u"The phone is not there."_s)) : why;
    for (const auto &queue : _queues)
        queue->close(error);
}

void VXBusDevice::setProblem(const VXError &why)
{
    const QString problem = why.localizedDescription();
    const QString remedy = why.localizedRecoverySuggestion();
    const auto isNew = [this](const QString &key, const QString &told) {
        return told != devicePropertyForKey(key).value<VXLocalizedProperty>().value().toString();
    };
    if (!isNew(u"problem"_s, problem) && !isNew(u"remedy"_s, remedy))
        return;
    if (!problem.isEmpty()) // reported once, not with each attempt
        VXLogMethod(VXLogWarning, "setState:", u"%1: %2 %3"_s.arg(description(), problem, remedy).trimmed());
    const auto property = [](const QString &told, const QString &title, int priority) {
        return told.isEmpty() ? QVariant() : QVariant(VXLocalizedProperty(told, VXBusText(title), priority));
    };
    setDeviceProperty(property(remedy, u"What to do"_s, 1), u"remedy"_s);
    setDeviceProperty(property(problem, u"Problem"_s, 0), u"problem"_s);
}

// -- Actions

void VXBusDevice::offer(const QString &action, const std::function<void(const VXDeviceAction::Ptr &)> &perform)
{
    const auto conclude = [](VXDeviceAction &unasked) {
        unasked.setError(VXError(VXErrorDomain, VXErrorCancelled));
        unasked.conclude();
    };
    const auto begin = [self = QPointer<VXBusDevice>(this), perform, conclude](VXDeviceAction *executed) {
        const auto asked = std::static_pointer_cast<VXDeviceAction>(executed->shared_from_this());
        const bool isAccepted = VXMainThread::perform([self, perform, conclude, asked] {
            if (self)
                perform(asked);
            else
                conclude(*asked);
        });
        if (!isAccepted)
            conclude(*asked);
    };
    registerActionHandler(action, VXDeviceActionHandler(this, begin), false);
}

void VXBusDevice::offer(const QString &action, VXBusQueue &queue, const VXBusQueue::Work &work)
{
    offer(action, [&queue, work](const VXDeviceAction::Ptr &asked) { queue.enqueue(asked, work); });
}

void VXBusDevice::setOffered(const QString &action, bool isOffered,
                             const std::function<void(const VXDeviceAction::Ptr &)> &perform)
{
    if (_offered.contains(action) == isOffered)
        return;
    if (isOffered) {
        _offered.append(action);
        offer(action, perform);
    } else {
        _offered.removeOne(action);
        unregisterActionHandler(action, this);
    }
}

void VXBusDevice::setOffered(const QString &action, bool isOffered, VXBusQueue &queue, const VXBusQueue::Work &work)
{
    setOffered(action, isOffered, [&queue, work](const VXDeviceAction::Ptr &asked) { queue.enqueue(asked, work); });
}

// -- What it tells

QString VXBusDevice::text(const QString &key) const
{
    const VXBundle::Ptr own = bundle();
    return own ? own->localizedStringForKey(key) : key;
}

void VXBusDevice::show(const QString &key, const QVariant &value, const QString &title, int priority)
{
    const QVariant shown = value.isValid() ? QVariant(VXLocalizedProperty(value, text(title), priority)) : QVariant();
    const QVariant before = devicePropertyForKey(key);
    const bool isSame = before.isValid() == shown.isValid() &&
                        before.value<VXLocalizedProperty>() == shown.value<VXLocalizedProperty>();
    if (!isSame)
        setDeviceProperty(shown, key);
}

void VXBusDevice::announce(const QString &event, const QString &subtype, QVariantMap object)
{
    object.insert(u"device_url"_s, VXAbsoluteString(url()));
    VXCallPlugin(*this, "announce",
                 [&] { VXEventManager::sharedEventManager().postEventWithName(event, subtype, object); });
}
