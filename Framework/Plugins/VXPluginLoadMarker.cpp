#include "VXPluginLoadMarker.h"

#include "VXFileManager.h"
#include "VXMethodLog.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

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

QByteArray dataOf(const VXPluginLoadMarker::Plugin &plugin)
{
    QVariantMap record{{identifierKey, plugin.identifier}, {pathKey, plugin.path}};
    if (!plugin.version.isNull())
        record.insert(versionKey, plugin.version);
    return VXPropertyList::toData(record, VXPropertyList::Format::XML);
}

std::optional<VXPluginLoadMarker::Plugin> pluginOf(const QByteArray &data)
{
    const QVariantMap record = VXPropertyList::fromData(data).toMap();
    const QString identifier = record.value(identifierKey).toString();
    if (identifier.isEmpty()) // the process ended while it loaded none
        return std::nullopt;
    return VXPluginLoadMarker::Plugin{identifier, record.value(versionKey).toString(),
                                      record.value(pathKey).toString()};
}

bool isLinked(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

} // namespace

VXPluginLoadMarker::VXPluginLoadMarker(const QString &folder) : _folder(folder) {}

VXPluginLoadMarker::~VXPluginLoadMarker()
{
    _loading.clear();
    removeWhenDone();
}

QList<VXPluginLoadMarker::Plugin> VXPluginLoadMarker::takeSuspects() const
{
    QList<Plugin> suspects;
    const QStringList names = QDir(_folder).entryList({"*"_L1 + extension}, QDir::Files, QDir::Name);
    for (const QString &name : names) {
        QFile file(_folder + u'/' + name);
        // A file that is locked belongs to a process that is alive.
        if (!file.open(QIODevice::ReadWrite) || ::flock(file.handle(), LOCK_EX | LOCK_NB) != 0)
            continue;
        if (!isLinked(file.handle())) // another process has told of it
            continue;
        if (const auto plugin = pluginOf(file.readAll()))
            suspects.append(*plugin);
        QFile::remove(file.fileName()); // while the lock is held
    }
    return suspects;
}

void VXPluginLoadMarker::willLoad(const Plugin &plugin)
{
    _loading.append(plugin);
    write();
}

void VXPluginLoadMarker::didLoad()
{
    _loading.removeLast();
    write();
}

void VXPluginLoadMarker::removeWhenDone()
{
    if (!_loading.isEmpty() || _path.isNull())
        return;
    QFile::remove(_path);
    ::close(_descriptor);
    _descriptor = -1;
    _path = QString();
}

bool VXPluginLoadMarker::open()
{
    if (const VXError error = VXFileManager::defaultManager().verifyPathExists(_folder))
        return fail(error.description());
    while (_descriptor < 0) {
        QByteArray path = QFile::encodeName(u"%1/%2-XXXXXX"_s.arg(_folder).arg(::getpid())) + extension.data();
        const int descriptor = ::mkostemps(path.data(), int(extension.size()), O_CLOEXEC);
        if (descriptor < 0)
            return fail(qt_error_string(errno));
        if (::flock(descriptor, LOCK_EX) != 0) {
            const QString reason = qt_error_string(errno);
            ::unlink(path.constData());
            ::close(descriptor);
            return fail(reason);
        }
        // Between the two calls another process may have taken it for one left over, and removed it.
        if (!isLinked(descriptor)) {
            ::close(descriptor);
            continue;
        }
        _descriptor = descriptor;
        _path = QFile::decodeName(path);
    }
    return true;
}

bool VXPluginLoadMarker::fail(const QString &reason)
{
    VXLogMethod(VXLogWarning,
                "willLoad:", u"No marker of loading plugins can be left in \"%1\": %2"_s.arg(_folder, reason));
    _hasFailed = true;
    return false;
}

// In place, since the lock is on the file: nobody else reads it while this process lives.
void VXPluginLoadMarker::write()
{
    if (_hasFailed || (_descriptor < 0 && !open()))
        return;
    const QByteArray data = _loading.isEmpty() ? QByteArray() : dataOf(_loading.last());
    const auto size = static_cast<size_t>(data.size());
    if (::ftruncate(_descriptor, 0) != 0 ||
        (size > 0 && ::pwrite(_descriptor, data.constData(), size, 0) != data.size()))
        fail(qt_error_string(errno));
}
