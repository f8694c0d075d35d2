#include "VXBundle.h"

#include "VXDiagnostics.h"
#include "VXFolders.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

// The bundles that have owners, by path.
struct Registry
{
    VXMutex lock;
    QHash<QString, std::weak_ptr<VXBundle>> bundles VX_GUARDED_BY(lock);
    VXBundle::Ptr main VX_GUARDED_BY(lock);
};

Registry &registry()
{
    static auto *const shared = new Registry; // never freed: bundles may outlive static objects
    return *shared;
}

QString contentsFolder(const QString &path)
{
    const QString contents = path + "/Contents"_L1;
    return QFileInfo(contents).isDir() ? contents : path;
}

} // namespace

VXBundle::VXBundle(const QString &path) : _path(path), _contents(contentsFolder(path))
{
    const QString resources = _contents + "/Resources"_L1;
    _resources = QFileInfo(resources).isDir() || _contents != _path ? resources : _path;
    readInfo();
}

VXBundle::~VXBundle()
{
    Registry &shared = registry();
    const VXMutexLocker lock(shared.lock);
    // Another object may have been registered for the path meanwhile.
    if (const auto entry = shared.bundles.constFind(_path); entry != shared.bundles.cend() && entry->expired())
        shared.bundles.erase(entry);
}

void VXBundle::readInfo()
{
    const QString inContents = _contents + "/Info.plist"_L1;
    const QString inResources = _path + "/Resources/Info.plist"_L1;
    const bool isFramework = _contents == _path && QFileInfo::exists(inResources);
    const QString file = isFramework ? inResources : inContents;
    _hasInfo = QFileInfo::exists(file);
    const QVariant value = VXPropertyList::fromFile(file, &_infoError);
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        _info = value.toMap();
    else if (!_infoError)
        _infoError = VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"The property list is no dictionary."_s,
                                            {}, file);
}

VXBundle::Ptr VXBundle::bundleAt(const QString &path, bool reportMissingInfo)
{
    Registry &shared = registry();
    {
        const VXMutexLocker lock(shared.lock);
        if (Ptr held = shared.bundles.value(path).lock())
            return held;
    }
    if (!QFileInfo(path).isDir())
        return nullptr;
    Ptr made(new VXBundle(path));
    {
        const VXMutexLocker lock(shared.lock);
        std::weak_ptr<VXBundle> &entry = shared.bundles[path];
        if (Ptr held = entry.lock()) // another thread has made it meanwhile
            return held;
        entry = made;
    }
    if (made->_infoError && (made->_hasInfo || reportMissingInfo))
        VXReportDiagnostic(3, u"\"Info.plist\" unreadable: %1"_s.arg(made->_infoError.description()));
    return made;
}

VXBundle::Ptr VXBundle::bundleWithPath(const QString &path)
{
    return path.isEmpty() ? nullptr : bundleAt(VXStandardizedPath(path), true);
}

VXBundle::Ptr VXBundle::bundleWithIdentifier(const QString &identifier)
{
    std::vector<Ptr> held; // released after the lock, which the destructor of a bundle takes
    Registry &shared = registry();
    const VXMutexLocker lock(shared.lock);
    for (const auto &entry : std::as_const(shared.bundles)) {
        held.push_back(entry.lock());
        if (held.back() && held.back()->bundleIdentifier() == identifier && !identifier.isNull())
            return held.back();
    }
    return nullptr;
}

VXBundle::Ptr VXBundle::mainBundle()
{
    Registry &shared = registry();
    {
        const VXMutexLocker lock(shared.lock);
        if (shared.main)
            return shared.main;
    }
    const QDir folder = QFileInfo(QFileInfo(u"/proc/self/exe"_s).canonicalFilePath()).dir();
    const bool isInBundle = folder.path().endsWith("/Contents/Linux"_L1);
    const QString path = isInBundle ? VXStandardizedPath(folder.path() + "/../.."_L1) : folder.path();
    Ptr found = bundleAt(path, isInBundle);
    if (!found) // the folder no longer exists
        found = Ptr(new VXBundle(path));
    const VXMutexLocker lock(shared.lock);
    if (!shared.main)
        shared.main = found;
    return shared.main;
}

void VXBundle::setMainBundle(const Ptr &bundle)
{
    Ptr before = bundle; // released after the lock, which the destructor of a bundle takes
    Registry &shared = registry();
    const VXMutexLocker lock(shared.lock);
    shared.main.swap(before);
}

QString VXBundle::bundleIdentifier() const
{
    return _info.value(u"CFBundleIdentifier"_s).toString();
}

QString VXBundle::resourcesPath() const
{
    return _resources;
}

QString VXBundle::builtInPlugInsPath() const
{
    return _contents + "/PlugIns"_L1;
}

QString VXBundle::executablePath() const
{
    const QString name = _info.value(u"CFBundleExecutable"_s).toString();
    return name.isEmpty() || name.contains(u'/') ? QString() : _contents + "/Linux/"_L1 + name;
}
