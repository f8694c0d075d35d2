#include "VXNotificationCenter.h"

#include "VXGuard.h"

#include <QtCore/QHash>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Numbers names in the order of their first use. Never shrinks: names are constants.
class NameTable
{
public:
    static NameTable &shared()
    {
        static auto *table = new NameTable;
        return *table;
    }

    quint32 indexOf(const QString &text)
    {
        const VXMutexLocker lock(_lock);
        const auto known = _indexes.constFind(text);
        if (known != _indexes.cend())
            return *known;
        const auto index = static_cast<quint32>(_texts.size());
        _indexes.insert(text, index);
        _texts.append(text);
        return index;
    }

    QString textAt(quint32 index)
    {
        const VXMutexLocker lock(_lock);
        return _texts.at(index);
    }

private:
    VXMutex _lock;
    QHash<QString, quint32> _indexes VX_GUARDED_BY(_lock);
    QStringList _texts VX_GUARDED_BY(_lock);
};

} // namespace

VXNotificationName::VXNotificationName(const QString &text) : _index(NameTable::shared().indexOf(text)) {}

QString VXNotificationName::text() const
{
    return NameTable::shared().textAt(_index);
}

struct VXNotificationCenter::Observer
{
    explicit Observer(VXNotificationName observed) : name(observed) {}

    ObserverID id = 0;
    const VXNotificationName name;
    QObject *context = nullptr; // only compared, never dereferenced
    const QMetaObject *contextClass = nullptr;
    Handler handler;
    QVariant object;
    QMetaObject::Connection contextDestroyed;
    std::atomic<bool> removed{false};
};

struct VXNotificationCenter::ObserverList
{
    std::vector<std::shared_ptr<Observer>> observers;
};

VXNotificationCenter &VXNotificationCenter::defaultCenter()
{
    static auto *center = new VXNotificationCenter;
    return *center;
}

VXNotificationCenter::VXNotificationCenter() = default;

VXNotificationCenter::~VXNotificationCenter()
{
    removeObserversIf([](const Observer &) { return true; });
}

VXNotificationCenter::ObserverID VXNotificationCenter::addObserver(QObject *context, VXNotificationName name,
                                                                   Handler handler, const QVariant &object)
{
    const auto observer = std::make_shared<Observer>(name);
    observer->context = context;
    observer->contextClass = context == nullptr ? nullptr : context->metaObject();
    observer->handler = std::move(handler);
    observer->object = object;
    const VXMutexLocker lock(_lock);
    observer->id = ++_lastObserver;
    if (context != nullptr) {
        observer->contextDestroyed =
            QObject::connect(context, &QObject::destroyed, [this, id = observer->id] { removeObserver(id); });
    }
    if (_lists.size() <= name._index)
        _lists.resize(name._index + 1);
    auto list =
        _lists[name._index] ? std::make_shared<ObserverList>(*_lists[name._index]) : std::make_shared<ObserverList>();
    list->observers.push_back(observer);
    _lists[name._index] = std::move(list);
    return observer->id;
}

void VXNotificationCenter::removeObserversIf(const std::function<bool(const Observer &)> &matches)
{
    // Released after the lock, as destroying a handler's captures may run any code.
    std::vector<std::shared_ptr<Observer>> removed;
    std::vector<std::shared_ptr<const ObserverList>> replaced;
    {
        const VXMutexLocker lock(_lock);
        for (auto &list : _lists) {
            if (!list)
                continue;
            auto kept = std::make_shared<ObserverList>();
            for (const auto &observer : list->observers)
                (matches(*observer) ? removed : kept->observers).push_back(observer);
            if (kept->observers.size() == list->observers.size())
                continue;
            replaced.push_back(std::exchange(list, kept->observers.empty() ? nullptr : std::move(kept)));
        }
    }
    for (const auto &observer : removed) {
        observer->removed.store(true, std::memory_order_relaxed);
        QObject::disconnect(observer->contextDestroyed);
    }
}

void VXNotificationCenter::removeObserver(ObserverID observer)
{
    removeObserversIf([observer](const Observer &candidate) { return candidate.id == observer; });
}

void VXNotificationCenter::removeObserver(QObject *context)
{
    if (context != nullptr)
        removeObserversIf([context](const Observer &candidate) { return candidate.context == context; });
}

std::vector<VXNotificationCenter::Observation> VXNotificationCenter::observations() const
{
    std::vector<Observation> found;
    const VXMutexLocker lock(_lock);
    for (const auto &list : _lists) {
        if (!list)
            continue;
        for (const auto &observer : list->observers)
            found.push_back({observer->name, observer->contextClass, &observer->handler.target_type()});
    }
    return found;
}

std::shared_ptr<const VXNotificationCenter::ObserverList>
VXNotificationCenter::observersOf(VXNotificationName name) const
{
    const VXMutexLocker lock(_lock);
    return name._index < _lists.size() ? _lists[name._index] : nullptr;
}

bool VXNotificationCenter::hasObservers(VXNotificationName name) const
{
    const VXMutexLocker lock(_lock);
    return name._index < _lists.size() && _lists[name._index] != nullptr;
}

void VXNotificationCenter::postNotificationName(VXNotificationName name, const QVariant &object,
                                                const QVariantMap &userInfo)
{
    postNotification({name, object, userInfo});
}

void VXNotificationCenter::postNotification(const VXNotification &notification)
{
    const std::shared_ptr<const ObserverList> list = observersOf(notification.name);
    if (!list)
        return;
    for (const auto &observer : list->observers) {
        const bool wanted = !observer->object.isValid() || observer->object == notification.object;
        if (wanted && !observer->removed.load(std::memory_order_relaxed))
            VXGuard([&] { return describe(*observer); }, [&] { observer->handler(notification); });
    }
}

// For logs: what it observes, for which class, and whose code it is.
QString VXNotificationCenter::describe(const Observer &observer)
{
    QString who = "An observer of "_L1 + observer.name.text();
    if (observer.contextClass != nullptr)
        who += u" for %1"_s.arg(QString::fromUtf8(observer.contextClass->className()));
    return VXDescribeCode(who, observer.handler.target_type());
}
