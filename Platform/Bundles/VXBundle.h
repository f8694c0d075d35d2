#pragma once

#include "VXError.h"
#include "VXMutex.h"
#include "VXPlatformExport.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

struct QMetaObject;

/**
 * A bundle folder: an information dictionary, resources by name, type and language, strings tables, and code. Two
 * layouts are supported: Contents/{Info.plist,Linux,PlugIns,Resources} (applications, plugins) and Resources/Info.plist
 * (frameworks). There is one object per path, which lives as long as it has owners. Any thread may call. No lock is
 * held while code is loaded, so that code may use its bundle meanwhile.
 */
class VX_PLATFORM_EXPORT VXBundle
{
public:
    using Ptr = std::shared_ptr<VXBundle>;

    /** The bundle at a folder; null when there is no folder. A bundle without or with a damaged Info.plist
     * has an empty information dictionary, and the problem is reported once for each object. */
    [[nodiscard]] static Ptr bundleWithPath(const QString &path);
    /** The bundle with this identifier among those that have owners; null when there is none. */
    [[nodiscard]] static Ptr bundleWithIdentifier(const QString &identifier);
    /** The application's bundle: the one whose Contents/Linux contains the running program; otherwise the program's
     *  folder, with an empty information dictionary. Never null. */
    [[nodiscard]] static Ptr mainBundle();
    /** Replaces the main bundle, for tests and for programs that embed the framework. Null restores the original one.
     *  */
    static void setMainBundle(const Ptr &bundle);
    /** The file of the shared object or program that holds this address; null when unknown. */
    [[nodiscard]] static QString pathOfCode(const void *address);

    ~VXBundle();
    VXBundle(const VXBundle &) = delete;
    VXBundle &operator=(const VXBundle &) = delete;

    QString bundlePath() const { return _path; }
    /** Null when the information dictionary does not contain it. */
    QString bundleIdentifier() const;
    QVariantMap infoDictionary() const { return _info; }
    /** The value, preferably from InfoPlist.strings in the user's language; invalid for none. */
    QVariant objectForInfoDictionaryKey(const QString &key) const;

    QString resourcesPath() const;
    QString builtInPlugInsPath() const;
    /** The code file named by CFBundleExecutable; null when there is no such entry. */
    QString executablePath() const;

    /** Languages with a "xx.lproj" folder, sorted. */
    QStringList localizations() const;
    /** Those of them that match the user's preferred languages, best first, then the development region. */
    QStringList preferredLocalizations() const;
    /** The user's languages, best first, as BCP 47 tags; from the environment unless set. */
    static QStringList preferredLanguages();
    static void setPreferredLanguages(const QStringList &languages);

    /**
     * A resource file: first outside the language folders, then in each preferred one. `type` is the extension without
     * dot and may be null. With a `subfolder`, only that is searched. @return null when not found.
     */
    [[nodiscard]] QString pathForResource(const QString &name, const QString &type,
                                          const QString &subfolder = {}) const;
    /** All resources of the type, sorted, each once. */
    QStringList pathsForResourcesOfType(const QString &type, const QString &subfolder = {}) const;

    /** The table's text in the user's language; `value` if it is missing, or the key if that is null. A null table
     *  means "Localizable". Tables are read once; a damaged table is reported then, and counts as empty. */
    QString localizedStringForKey(const QString &key, const QString &value = {}, const QString &table = {}) const;

    /** Loads the code, with all symbols resolved and none visible to other code. Loaded code stays for the life of the
     *  process. False, with the loader's reason, on failure; further calls do nothing. */
    bool load(VXError *error = nullptr);
    bool isLoaded() const;
    /** The principal class of the code (VXPrincipalClass.h); loads the code. Null, with the loader's reason, when it
     *  cannot be loaded or was built for another interface version. */
    [[nodiscard]] const QMetaObject *principalClass(VXError *error = nullptr);

private:
    using Table = QHash<QString, QString>;

    explicit VXBundle(const QString &path);

    static Ptr bundleAt(const QString &path, bool reportMissingInfo);
    void readInfo();
    Table stringsTable(const QString &table) const;
    void *codeHandle(VXError *error);

    const QString _path;     // absolute, cleaned, symbolic links kept
    const QString _contents; // the folder that contains Linux/ and PlugIns/
    QString _resources;
    QVariantMap _info;
    VXError _infoError;
    bool _hasInfo = false; // there is an Info.plist, readable or not

    mutable VXMutex _lock;
    mutable QHash<QString, Table> _tables VX_GUARDED_BY(_lock);
    mutable int _tablesGeneration VX_GUARDED_BY(_lock) = 0; // of the preferred languages for which they were read
    void *_codeHandle VX_GUARDED_BY(_lock) = nullptr;
};
