#include "VXPluginMarker.h"

#include "VXFileManager.h"
#include "VXMethodLog.h"
#include "VXPlugin.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto extension = ".plist"_L1;
constexpr auto identifierKey = "identifier"_L1;
constexpr auto versionKey = "version"_L1;
constexpr auto pathKey = "path"_L1;
constexpr auto workKey = "work"_L1;

// Read by signal handlers: fixed storage, always zero-terminated.
std::array<char, 256> lastWordsText{};

// The file's path for signal handlers, which read it only while pathOwner is set.
std::array<char, 4096> pathText{};
std::atomic<pid_t> pathOwner = 0; // the process that owns the file, as opposed to a forked child before exec

void setPathText(const QByteArray &path)
{
    pathOwner = 0;
    if (size_t(path.size()) >= pathText.size())
        return;
    std::copy(path.cbegin(), path.cend() + 1, pathText.begin()); // including the zero byte
    pathOwner = path.isEmpty() ? 0 : ::getpid();
}

void setLastWords(const QByteArray &text)
{
    qstrncpy(lastWordsText.data(), text.constData(), lastWordsText.size() - 1); // the last byte stays zero
}

QByteArray dataOf(const VXPluginAtWork &plugin)
{
    QVariantMap record{
        {identifierKey, plugin.identifier}, {pathKey, plugin.path}, {workKey, static_cast<int>(plugin.work)}};
    if (!plugin.version.isNull())
        record.insert(versionKey, plugin.version);
    return VXPropertyList::toData(record, VXPropertyList::Format::XML);
}

std::optional<VXPluginAtWork> pluginOf(const QByteArray &data)
{
    const QVariantMap record = VXPropertyList::fromData(data).toMap();
    const QString identifier = record.value(identifierKey).toString();
    if (identifier.isEmpty()) // none was at work when the process ended
        return std::nullopt;
    return VXPluginAtWork{identifier, record.value(versionKey).toString(), record.value(pathKey).toString(),
                          static_cast<VXPluginWork>(std::clamp(record.value(workKey).toInt(), 0, 2))};
}

bool isLinked(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

} // namespace

QString VXNameOfPluginWork(VXPluginWork work)
{
    switch (work) {
    case VXPluginWork::Loading:
        return u"loading"_s;
    case VXPluginWork::Unloading:
        return u"unloading"_s;
    case VXPluginWork::RestoringWindows:
        break;
    }
    return u"restoring windows"_s;
}

VXPluginMarker::Scope::Scope(const VXPlugin &plugin, VXPluginWork work)
{
    const VXBundle::Ptr bundle = plugin.bundle();
    shared().begin(
        {plugin.identifier(), plugin.infoText(u"CFBundleVersion"_s), bundle ? bundle->bundlePath() : QString(), work});
}

VXPluginMarker::Scope::Scope()
{
    shared().begin({});
}

VXPluginMarker::Scope::~Scope()
{
    shared().end();
}

VXPluginMarker &VXPluginMarker::shared()
{
    static auto *const marker = new VXPluginMarker; // never freed: plugins may be at work until the very end
    return *marker;
}

QString VXPluginMarker::folder()
{
    return VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Loading Plugins"_L1;
}

const char *VXPluginMarker::lastWords()
{
    return lastWordsText.data();
}

void VXPluginMarker::takeBack()
{
    if (pathOwner == ::getpid())
        ::unlink(pathText.data());
}

QList<VXPluginAtWork> VXPluginMarker::takeLeftBehind()
{
    QList<VXPluginAtWork> plugins;
    const QString folderPath = folder();
    for (const QString &name : QDir(folderPath).entryList({"*"_L1 + extension}, QDir::Files, QDir::Name)) {
        QFile file(folderPath + u'/' + name);
        // A locked file belongs to a living process.
        if (!file.open(QIODevice::ReadWrite) || ::flock(file.handle(), LOCK_EX | LOCK_NB) != 0)
            continue;
        if (!isLinked(file.handle())) // another process has reported it
            continue;
        if (const auto plugin = pluginOf(file.readAll()))
            plugins.append(*plugin);
        QFile::remove(file.fileName()); // while holding the lock
    }
    return plugins;
}

void VXPluginMarker::begin(const VXPluginAtWork &plugin)
{
    _atWork.append(plugin);
    if (!plugin.identifier.isEmpty())
        _workers.insert(plugin.identifier);
    write();
}

void VXPluginMarker::end()
{
    _atWork.removeLast();
    if (_atWork.isEmpty())
        removeFile();
    else
        write();
}

void VXPluginMarker::removeFile()
{
    setLastWords({});
    if (_path.isNull())
        return;
    setPathText({});
    QFile::remove(_path);
    ::close(_descriptor);
    _descriptor = -1;
    _size = 0;
    _path = QString();
}

bool VXPluginMarker::open()
{
    const QString folderPath = folder();
    if (const VXError error = VXFileManager::defaultManager().verifyPathExists(folderPath))
        return fail(error.description());
    while (_descriptor < 0) {
        QByteArray path = QFile::encodeName(u"%1/%2-XXXXXX"_s.arg(folderPath).arg(::getpid())) + extension.data();
        const int descriptor = ::mkostemps(path.data(), int(extension.size()), O_CLOEXEC);
        if (descriptor < 0)
            return fail(qt_error_string(errno));
        if (::flock(descriptor, LOCK_EX) != 0) {
            const QString reason = qt_error_string(errno);
            ::unlink(path.constData());
            ::close(descriptor);
            return fail(reason);
        }
        // Between open and lock another process may have taken the file for a leftover, and removed it.
        if (!isLinked(descriptor)) {
            ::close(descriptor);
            continue;
        }
        _descriptor = descriptor;
        _path = QFile::decodeName(path);
        setPathText(path);
    }
    return true;
}

bool VXPluginMarker::fail(const QString &reason)
{
    VXLogMethod(VXLogWarning, "write",
                u"No marker of plugins at work can be left in \"%1\": %2"_s.arg(folder(), reason));
    _hasFailed = true;
    return false;
}

// Written in place, since the lock is on the file; nobody else reads it while this process lives. Blanks cover what was
// longer before, as file systems take long to truncate a file.
void VXPluginMarker::write()
{
    const VXPluginAtWork plugin = _atWork.last();
    const bool isNamed = !plugin.identifier.isEmpty();
    setLastWords(isNamed ? (plugin.identifier + " was "_L1 + VXNameOfPluginWork(plugin.work)).toUtf8() : QByteArray());
    if (_hasFailed || (_descriptor < 0 && !open()))
        return;
    const QByteArray data = (isNamed ? dataOf(plugin) : QByteArray()).leftJustified(_size, ' ');
    _size = data.size();
    if (::pwrite(_descriptor, data.constData(), static_cast<size_t>(_size), 0) != _size)
        fail(qt_error_string(errno));
}
