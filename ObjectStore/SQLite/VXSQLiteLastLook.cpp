#include "VXSQLiteLastLook.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

// None while there is a log: who saves into that leaves the file as it is.
VXFileStamp stampOfWhole(const QString &path)
{
    const auto isEmpty = [&path](QLatin1StringView end) { return VXFileStamp::ofPath(path + end).size <= 0; };
    return isEmpty("-wal"_L1) && isEmpty("-journal"_L1) ? VXFileStamp::ofPath(path) : VXFileStamp();
}

} // namespace

VXSQLiteLastLook &VXSQLiteLastLook::shared()
{
    static auto &last = *new VXSQLiteLastLook;
    return last;
}

std::optional<QVariantMap> VXSQLiteLastLook::look(const QString &path, std::chrono::milliseconds busyTimeout,
                                                  VXError *error)
{
    const VXFileStamp stamp = stampOfWhole(path);
    const auto connection = VXSQLiteFile::openForReading(path, busyTimeout, nullptr, error);
    std::optional<QVariantMap> metadata =
        connection ? VXSQLiteFile::readMetadata(*connection, path, error) : std::nullopt;
    std::optional<VXSQLiteFile::Contents> contents =
        metadata && stamp.exists() ? VXSQLiteFile::read(*connection, path, nullptr) : std::nullopt;
    const VXMutexLocker locker(_lock);
    _path = path;
    _stamp = stamp;
    _contents = std::move(contents);
    return metadata;
}

std::optional<VXSQLiteFile::Contents> VXSQLiteLastLook::take(const QString &path)
{
    const VXMutexLocker locker(_lock);
    const bool isOfThis = _contents && _path == path && _stamp == stampOfWhole(path);
    std::optional<VXSQLiteFile::Contents> contents = std::exchange(_contents, std::nullopt);
    return isOfThis ? std::move(contents) : std::nullopt;
}
