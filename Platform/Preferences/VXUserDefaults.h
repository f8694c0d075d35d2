#pragma once

#include "VXError.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"
#include "VXPlatformExport.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <vector>

class VXLiveSwitch;
class VXPreferenceFile;

/**
 * The user's preferences: the application's own domain on top of registered defaults, and other domains by name. Each
 * persistent domain is one property list, "<preferences folder>/<domain>.plist". Changes are visible at once in this
 * process; they are written by `synchronize`, when the object is destroyed and, for the standard defaults, when the
 * main thread is idle: key by key into what the file then contains, so that processes do not lose each other's keys. A
 * damaged file is renamed to "<file>.damaged" and reported. Any thread may call.
 */
class VX_PLATFORM_EXPORT VXUserDefaults
{
public:
    /** The application's defaults: the domain is the main bundle's identifier. */
    static VXUserDefaults &standardUserDefaults();

    /** The folder of the domains' files: "Vornix 2" in the user's configuration home; null without a home. */
    static QString preferencesFolder();
    /** The new paths of damaged files that this process renamed. */
    static QStringList filesSetAside();

    /** Defaults for one domain in one folder; reads its file now. */
    VXUserDefaults(const QString &domain, const QString &folder);
    ~VXUserDefaults();
    VXUserDefaults(const VXUserDefaults &) = delete;
    VXUserDefaults &operator=(const VXUserDefaults &) = delete;

    /** The value from the domain, or else the registered one; invalid when neither has the key. */
    QVariant objectForKey(const QString &key) const;
    /** The value as that type; null, empty, false or 0 when there is none or its type does not fit. */
    QString stringForKey(const QString &key) const;
    QStringList stringArrayForKey(const QString &key) const;
    QVariantList arrayForKey(const QString &key) const;
    QVariantMap dictionaryForKey(const QString &key) const;
    /** True for true, for a number that is not 0, and for the texts "YES", "true" and "1". */
    bool boolForKey(const QString &key) const;
    /** The same rule for a value of any domain. */
    static bool boolFromValue(const QVariant &value);
    qint64 integerForKey(const QString &key) const;

    /** Stores a property-list value; none (invalid or null) removes the key. A value that no property list can
     *  hold fails an assertion. */
    void setObject(const QVariant &value, const QString &key);
    void removeObjectForKey(const QString &key);

    /** Computes a key's new value from the present one; invalid means none for both. */
    using Update = std::function<QVariant(const QVariant &current)>;
    /**
     * Changes a list or dictionary that others may change, too: `update` runs on the present value now and again, under
     * the domain's file lock, on the value in the file when that is written, so that no process loses what another
     * added. It must use only its argument and captures by value, and must not call these defaults.
     */
    void updateObject(const QString &key, const Update &update);
    /** The same for any domain, written immediately. */
    bool updateObject(const QString &key, const Update &update, const QString &domain, VXError *error = nullptr);

    /** The keys of the domain with the prefix, without registered ones. */
    QStringList keysWithPrefix(const QString &prefix) const;

    /** Adds values that apply where the domain has none. They are not written. Later ones replace earlier ones. */
    void registerDefaults(const QVariantMap &defaults);

    /** All keys of a domain, without registered values; empty when there is no such domain. */
    QVariantMap persistentDomainForName(const QString &domain) const;
    /** Replaces a whole domain and writes it immediately. A name that is no plain file name is an error. */
    bool setPersistentDomain(const QVariantMap &values, const QString &domain, VXError *error = nullptr);
    /** Sets one key of any domain and writes it immediately; none (invalid or null) removes the key. */
    bool setObject(const QVariant &value, const QString &key, const QString &domain, VXError *error = nullptr);
    /** Removes a domain with its file. Succeeds when there is none. */
    bool removePersistentDomainForName(const QString &domain, VXError *error = nullptr);

    /** Writes what was changed here and reads what was changed elsewhere. On failure the changes remain in memory. */
    bool synchronize(VXError *error = nullptr);

private:
    friend class VXLiveSwitch;

    std::shared_ptr<VXPreferenceFile> fileForDomain(const QString &domain, VXError *error) const;
    bool changeFile(VXPreferenceFile &file, VXError *error, const std::function<void(VXPreferenceFile &)> &change);
    void changed(QStringList keys);
    void save();
    void saveWhenIdle();
    void refreshSwitches(const QStringList &keys) VX_REQUIRES(_lock);
    void refreshSwitch(VXLiveSwitch &follower) const VX_REQUIRES(_lock);

    const QString _domain;
    const QString _folder;
    const std::shared_ptr<VXPreferenceFile> _own;

    mutable VXMutex _lock;
    QHash<QString, QVariant> _registered VX_GUARDED_BY(_lock);
    mutable std::map<QString, std::shared_ptr<VXPreferenceFile>> _others VX_GUARDED_BY(_lock);
    std::vector<VXLiveSwitch *> _switches VX_GUARDED_BY(_lock);
    bool _savesWhenIdle VX_GUARDED_BY(_lock) = false;
    bool _saveIsDue VX_GUARDED_BY(_lock) = false;
};

/**
 * A boolean user default that is read without a lock: it follows changes of the default in this process. For switches
 * that are checked on hot paths. Must not outlive the defaults. Any thread may read.
 */
class VX_PLATFORM_EXPORT VXLiveSwitch
{
public:
    VXLiveSwitch(VXUserDefaults &defaults, const QString &key);
    ~VXLiveSwitch();
    VXLiveSwitch(const VXLiveSwitch &) = delete;
    VXLiveSwitch &operator=(const VXLiveSwitch &) = delete;

    bool isOn() const { return _on.load(std::memory_order_relaxed); }

private:
    friend class VXUserDefaults;

    VXUserDefaults &_defaults;
    const QString _key;
    std::atomic<bool> _on{false};
};

/** Posted on the changing thread after a value of an object's own domain may have changed; object: the key. */
VX_PLATFORM_EXPORT extern const VXNotificationName VXUserDefaultsDidChangeNotification;
