#include "VXActivityManager.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"

#include <QtCore/QScopeGuard>
#include <QtCore/QStringBuilder>
#include <QtCore/QUuid>

#include <atomic>

using namespace Qt::StringLiterals;

const VXNotificationName VXActivityManagerDidAddActivityNotification(u"VXActivityManagerDidAddActivityNotification"_s);
const VXNotificationName
    VXActivityManagerWillRemoveActivityNotification(u"VXActivityManagerWillRemoveActivityNotification"_s);

namespace {

// One random number for the process, and a count: a random number each time would cost a system call.
QString freshIdentifier()
{
    static const QString process = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + u'-';
    static std::atomic<quint64> count{0};
    return process % QString::number(++count);
}

// Once the main thread has ended nobody watches the registry, and nothing is to be done.
void onMainThread(const std::function<void()> &work)
{
    static_cast<void>(VXMainThread::performAndWait(work));
}

} // namespace

VXActivityManager &VXActivityManager::sharedActivityManager()
{
    static auto *const manager = new VXActivityManager;
    return *manager;
}

QList<VXActivity::Ptr> VXActivityManager::activities() const
{
    return _activities.values();
}

VXActivity::Ptr VXActivityManager::activityWithIdentifier(const QString &identifier) const
{
    return _activities.value(identifier);
}

VXActivity::Ptr VXActivityManager::addActivityWithTitle(const QString &title)
{
    return addActivityWithTitle(title, freshIdentifier());
}

VXActivity::Ptr VXActivityManager::addActivityWithTitle(const QString &title, const QString &identifier)
{
    VXAssert(!identifier.isNull(), u"theIdentifier can not be nil: %1"_s.arg(VXDescription(title)));
    const auto activity = std::make_shared<VXActivity>(identifier);
    activity->setTitle(title);
    onMainThread([this, &activity] { add(activity); });
    return activity;
}

void VXActivityManager::add(const VXActivity::Ptr &activity)
{
    const QString identifier = activity->identifier();
    if (VXActivity::Ptr &place = _activities[identifier]; !place) {
        place = activity;
    } else {
        VXLogMethod(VXLogError, "addActivityWithTitle:identifier:",
                    u"Activity with this identifier is aready running: %1"_s.arg(identifier));
        remove(identifier);
        _activities.insert(identifier, activity);
    }
    VXNotificationCenter::defaultCenter().postNotificationName(VXActivityManagerDidAddActivityNotification, identifier);
}

void VXActivityManager::removeActivity(const VXActivity::Ptr &activity)
{
    if (!activity)
        return;
    onMainThread([this, &activity] {
        if (_activities.value(activity->identifier()) == activity)
            remove(activity);
    });
}

void VXActivityManager::removeActivityWithIdentifier(const QString &identifier)
{
    onMainThread([this, &identifier] { remove(identifier); });
}

void VXActivityManager::remove(const QString &identifier)
{
    if (const VXActivity::Ptr activity = _activities.value(identifier))
        remove(activity);
}

void VXActivityManager::remove(const VXActivity::Ptr &leaving)
{
    if (_leaving.contains(leaving))
        return;
    const VXActivity::Ptr activity = leaving; // whatever observers do with the caller's
    const QString identifier = activity->identifier();
    _leaving.append(activity);
    // Whatever observers do: throw, remove it themselves, or put another one in its place.
    const auto leave = qScopeGuard([&] {
        _leaving.removeOne(activity);
        if (const auto there = _activities.constFind(identifier);
            there != _activities.cend() && there.value() == activity)
            _activities.erase(there);
        activity->setDelegate(nullptr);
    });
    VXNotificationCenter::defaultCenter().postNotificationName(VXActivityManagerWillRemoveActivityNotification,
                                                               identifier);
}
