#include "VXUserDefaults.h"

#include "VXBundle.h"
#include "VXContainer.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFileWatch.h"
#include "VXFolders.h"
#include "VXMainThread.h"
#include "VXNone.h"
#include "VXPreferenceFile.h"
#include "VXPropertyList.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

using namespace Qt::StringLiterals;

const VXNotificationName VXUserDefaultsDidChangeNotification(u"VXUserDefaultsDidChangeNotification"_s);

namespace {

constexpr qsizetype maximumDomainLength = 200;

bool isValidDomain(const QString &domain)
{
    return !domain.isEmpty() && domain.size() <= maximumDomainLength && !domain.startsWith(u'.') &&
           !domain.contains(u'/') && !domain.contains(QChar::Null) && domain.isValidUtf16();
}

QString pathForDomain(const QString &domain, const QString &folder)
{
    return folder + u'/' + domain + ".plist"_L1;
}

void assertPropertyList(const QVariant &value, const QString &key)
{
    QString reason;
    VXAssert(!value.isValid() || VXPropertyList::isValid(value, &reason),
             u"Attempt to insert a value that is no property list under %1: %2"_s.arg(key, reason));
}

VXUserDefaults::Update checked(const VXUserDefaults::Update &update, const QString &key)
{
    return [update, key](const QVariant &current) {
        const QVariant value = update(current);
        if (VXIsNone(value))
            return QVariant();
        assertPropertyList(value, key);
        return value;
    };
}

} // namespace

VXUserDefaults &VXUserDefaults::standardUserDefaults()
{
    static VXUserDefaults *const defaults = [] {
        // An application without an identifier has preferences under its program's name.
        QString domain = VXBundle::mainBundle()->bundleIdentifier();
        if (!isValidDomain(domain))
            domain = QString::fromLocal8Bit(program_invocation_short_name);
        auto *standard = new VXUserDefaults(domain, preferencesFolder());
        {
            const VXMutexLocker lock(standard->_lock);
            standard->_savesWhenIdle = true;
        }
        qAddPostRoutine([] { standardUserDefaults().save(); });
        static const auto readOthersChanges = [standard] {
            QStringList changedElsewhere;
            standard->_own->refresh(&changedElsewhere);
            if (!changedElsewhere.isEmpty())
                standard->changed(changedElsewhere);
        };
        // Once there is an application whose event loop is running.
        qAddPreRoutine([] {
            const auto watch = [] {
                new VXFileWatch({standardUserDefaults()._own->path()}, readOthersChanges, QCoreApplication::instance());
            };
            QMetaObject::invokeMethod(QCoreApplication::instance(), watch, Qt::QueuedConnection);
        });
        return standard;
    }();
    return *defaults;
}

QString VXUserDefaults::preferencesFolder()
{
    const QString home = VXFindFolder(VXFolderType::Preferences, VXFolderDomain::User);
    return home.isNull() ? QString() : home + "/Vornix 2"_L1;
}

QStringList VXUserDefaults::filesSetAside()
{
    return VXPreferenceFile::filesSetAside();
}

VXUserDefaults::VXUserDefaults(const QString &domain, const QString &folder)
    : _domain(domain), _folder(folder), _own(std::make_shared<VXPreferenceFile>(pathForDomain(domain, folder)))
{
}

VXUserDefaults::~VXUserDefaults()
{
    save();
}

QVariant VXUserDefaults::objectForKey(const QString &key) const
{
    if (QVariant value = _own->value(key); value.isValid())
        return value;
    const VXMutexLocker lock(_lock);
    return _registered.value(key);
}

QString VXUserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.canConvert<QString>() ? value.toString() : QString();
}

QStringList VXUserDefaults::stringArrayForKey(const QString &key) const
{
    return VXStringListFrom(objectForKey(key));
}

QVariantList VXUserDefaults::arrayForKey(const QString &key) const
{
    return VXListFrom(objectForKey(key));
}

QVariantMap VXUserDefaults::dictionaryForKey(const QString &key) const
{
    return objectForKey(key).toMap();
}

bool VXUserDefaults::boolFromValue(const QVariant &value)
{
    if (value.metaType() != QMetaType::fromType<QString>())
        return value.canConvert<bool>() && value.toBool();
    const QString text = value.toString();
    return text == "YES"_L1 || text == "true"_L1 || text == "1"_L1;
}

bool VXUserDefaults::boolForKey(const QString &key) const
{
    return boolFromValue(objectForKey(key));
}

qint64 VXUserDefaults::integerForKey(const QString &key) const
{
    return objectForKey(key).toLongLong();
}

void VXUserDefaults::setObject(const QVariant &value, const QString &key)
{
    const QVariant stored = VXIsNone(value) ? QVariant() : value;
    assertPropertyList(stored, key);
    _own->setValue(stored, key);
    changed({key});
    saveWhenIdle();
}

void VXUserDefaults::updateObject(const QString &key, const Update &update)
{
    QVariant registered;
    {
        const VXMutexLocker lock(_lock);
        registered = _registered.value(key);
    }
    _own->updateValue(key, [update = checked(update, key), registered](const QVariant &current) {
        return update(current.isValid() ? current : registered);
    });
    changed({key});
    saveWhenIdle();
}

bool VXUserDefaults::updateObject(const QString &key, const Update &update, const QString &domain, VXError *error)
{
    const auto file = fileForDomain(domain, error);
    const auto change = [&](VXPreferenceFile &target) { target.updateValue(key, checked(update, key)); };
    return file && changeFile(*file, error, change);
}

void VXUserDefaults::removeObjectForKey(const QString &key)
{
    setObject({}, key);
}

QStringList VXUserDefaults::keysWithPrefix(const QString &prefix) const
{
    QStringList keys = _own->values().keys();
    keys.removeIf([&prefix](const QString &key) { return !key.startsWith(prefix); });
    return keys;
}

void VXUserDefaults::registerDefaults(const QVariantMap &defaults)
{
    const VXMutexLocker lock(_lock);
    for (auto entry = defaults.cbegin(); entry != defaults.cend(); ++entry)
        _registered.insert(entry.key(), entry.value());
    refreshSwitches(defaults.keys());
}

std::shared_ptr<VXPreferenceFile> VXUserDefaults::fileForDomain(const QString &domain, VXError *error) const
{
    if (domain == _domain)
        return _own;
    if (!isValidDomain(domain)) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue,
                                                 u"\"%1\" is not the name of a preference domain."_s.arg(domain)));
        return nullptr;
    }
    const VXMutexLocker lock(_lock);
    auto &file = _others[domain];
    if (!file)
        file = std::make_shared<VXPreferenceFile>(pathForDomain(domain, _folder));
    return file;
}

QVariantMap VXUserDefaults::persistentDomainForName(const QString &domain) const
{
    const auto file = fileForDomain(domain, nullptr);
    if (!file)
        return {};
    // Another program may own that domain: reads its file again. If that fails, the old values are used.
    if (file != _own)
        file->synchronize(nullptr, nullptr);
    return file->values();
}

bool VXUserDefaults::setPersistentDomain(const QVariantMap &values, const QString &domain, VXError *error)
{
    assertPropertyList(values, domain);
    const auto file = fileForDomain(domain, error);
    return file && changeFile(*file, error, [&values](VXPreferenceFile &target) { target.setValues(values); });
}

bool VXUserDefaults::setObject(const QVariant &value, const QString &key, const QString &domain, VXError *error)
{
    const QVariant stored = VXIsNone(value) ? QVariant() : value;
    assertPropertyList(stored, key);
    const auto file = fileForDomain(domain, error);
    return file && changeFile(*file, error, [&](VXPreferenceFile &target) { target.setValue(stored, key); });
}

bool VXUserDefaults::removePersistentDomainForName(const QString &domain, VXError *error)
{
    const auto file = fileForDomain(domain, error);
    if (!file)
        return false;
    const QStringList keys = file->values().keys();
    const bool removed = file->remove(error);
    if (removed && file == _own)
        changed(keys);
    return removed;
}

bool VXUserDefaults::changeFile(VXPreferenceFile &file, VXError *error,
                                const std::function<void(VXPreferenceFile &)> &change)
{
    if (!file.synchronize(nullptr, error))
        return false;
    const QStringList keysBefore = file.values().keys();
    change(file);
    if (&file == _own.get())
        changed(keysBefore + file.values().keys());
    return file.synchronize(nullptr, error);
}

bool VXUserDefaults::synchronize(VXError *error)
{
    QStringList changedElsewhere;
    const bool done = _own->synchronize(&changedElsewhere, error);
    if (!changedElsewhere.isEmpty())
        changed(changedElsewhere);
    return done;
}

void VXUserDefaults::save()
{
    VXError error;
    if (!synchronize(&error))
        VXReportDiagnostic(3, u"Preferences are not saved yet: %1"_s.arg(error.description()));
}

void VXUserDefaults::saveWhenIdle()
{
    {
        const VXMutexLocker lock(_lock);
        if (!_savesWhenIdle || _saveIsDue || QCoreApplication::instance() == nullptr)
            return;
        _saveIsDue = true;
    }
    VXMainThread::perform([this] {
        QTimer::singleShot(0, QCoreApplication::instance(), [this] {
            {
                const VXMutexLocker lock(_lock);
                _saveIsDue = false;
            }
            save();
        });
    });
}

void VXUserDefaults::changed(QStringList keys)
{
    keys.removeDuplicates();
    {
        const VXMutexLocker lock(_lock);
        refreshSwitches(keys);
    }
    for (const QString &key : std::as_const(keys))
        VXNotificationCenter::defaultCenter().postNotificationName(VXUserDefaultsDidChangeNotification, key);
}

void VXUserDefaults::refreshSwitches(const QStringList &keys)
{
    for (VXLiveSwitch *follower : _switches) {
        if (keys.contains(follower->_key))
            refreshSwitch(*follower);
    }
}

void VXUserDefaults::refreshSwitch(VXLiveSwitch &follower) const
{
    QVariant value = _own->value(follower._key);
    if (!value.isValid())
        value = _registered.value(follower._key);
    follower._on.store(boolFromValue(value), std::memory_order_relaxed);
}

VXLiveSwitch::VXLiveSwitch(VXUserDefaults &defaults, const QString &key) : _defaults(defaults), _key(key)
{
    const VXMutexLocker lock(_defaults._lock);
    _defaults._switches.push_back(this);
    _defaults.refreshSwitch(*this);
}

VXLiveSwitch::~VXLiveSwitch()
{
    const VXMutexLocker lock(_defaults._lock);
    std::erase(_defaults._switches, this);
}
