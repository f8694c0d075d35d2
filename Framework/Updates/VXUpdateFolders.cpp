#include "VXUpdateFolders.h"

#include "VXMethodLog.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUuid>

#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString prefix = u".vornix-update-"_s;

// Removes only folders that belong to this user, and never the target of a link.
void removeFolder(const QString &path)
{
    const QFileInfo folder(path);
    if (!folder.isSymLink() && folder.isDir() && folder.ownerId() == ::geteuid())
        QDir(path).removeRecursively();
}

// Removes the folders whose names were recorded in a folder that an update left, and that folder.
void removeNamed(const QString &names)
{
    for (const QString &name : QDir(names).entryList(QDir::Files)) {
        if (!QUuid::fromString(name).isNull()) // downloads use UUIDs as names
            removeFolder(QFileInfo(names).path() + u'/' + name);
    }
    QDir(names).removeRecursively();
}

} // namespace

void VXUpdateFolders::add(const QString &path)
{
    const QFileInfo folder(path);
    _folders.append(path);
    if (!_names) {
        VXScratchFolder::visitAbandoned(folder.path(), prefix, removeNamed);
        _names = std::make_unique<VXScratchFolder>(folder.path(), prefix);
    }
    QFile name(_names->path() + u'/' + folder.fileName());
    if (_names->path().isNull() || !name.open(QIODevice::WriteOnly))
        VXLogMethod(VXLogWarning, "add:",
                    u"%1 is not noted, and stays if the program is killed. %2"_s.arg(
                        path, _names->path().isNull() ? _names->reason() : name.errorString()));
}

void VXUpdateFolders::remove()
{
    for (const QString &folder : std::as_const(_folders))
        removeFolder(folder);
    _folders.clear();
    _names.reset();
}
