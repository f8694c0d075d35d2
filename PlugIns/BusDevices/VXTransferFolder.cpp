#include "VXTransferFolder.h"

#include "VXFileLock.h"
#include "VXFolders.h"
#include "VXMutex.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QUuid>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

/**
 * The folder of this process, beside those of others. Its lock shows that the process is alive; only this class knows
 * it.
 */
class OwnFolder
{
public:
    static QString path()
    {
        static OwnFolder own; // the kernel releases its lock
        return own.make();
    }

private:
    QString make()
    {
        const VXMutexLocker locker(_lock);
        const QString all = VXFindFolder(VXFolderType::Caches, VXFolderDomain::User) + "/com.halvern.VNX2/Transfers"_L1;
        if (_path.isNull() || !QFileInfo::exists(_path) || !_path.startsWith(all)) {
            if (!VXMakePrivateFolder(all))
                return {};
            // So that nobody removes a folder that is only half made.
            const VXFileLock making(all + "/lock"_L1, std::chrono::seconds(10));
            removeThoseLeft(all);
            const QString path = all + u'/' + QUuid::createUuid().toString(QUuid::WithoutBraces);
            _alive.emplace(path + ".alive"_L1);
            if (!_alive->isHeld() || !VXMakePrivateFolder(path))
                return {};
            _path = path;
        }
        return _path;
    }

    static void removeThoseLeft(const QString &all)
    {
        const QDir folder(all);
        for (const QString &name : folder.entryList({u"*.alive"_s}, QDir::Files)) {
            const VXFileLock dead(folder.filePath(name), std::chrono::milliseconds(0));
            if (!dead.isHeld())
                continue;
            QDir(folder.filePath(name.chopped(6))).removeRecursively();
            QFile::remove(folder.filePath(name));
        }
    }

    VXMutex _lock;
    QString _path VX_GUARDED_BY(_lock);
    std::optional<VXFileLock> _alive VX_GUARDED_BY(_lock);
};

} // namespace

VXTransferFolder::VXTransferFolder()
{
    const QString all = OwnFolder::path();
    const QString path = all + u'/' + QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (!all.isNull() && VXMakePrivateFolder(path))
        _path = path;
}

VXTransferFolder::~VXTransferFolder()
{
    if (!_path.isNull())
        QDir(_path).removeRecursively();
}
