#include "VXMetaDataOrigin.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// Of the folder, for some data files are replaced at each save. With the time it was made, as numbers are given again; without
// the device, which may have another number after each start of the machine.
QByteArray markOfFolder(const QString &path)
{
    struct statx status = {};
    if (::statx(AT_FDCWD, QFile::encodeName(path).constData(), 0, STATX_INO | STATX_BTIME, &status) != 0)
        return {};
    return QByteArray::number(quint64(status.stx_ino)) + ' ' + QByteArray::number(qint64(status.stx_btime.tv_sec)) +
           '.' + QByteArray::number(status.stx_btime.tv_nsec);
}

} // namespace

QByteArray VXMarkOfStores(const VXPersistentStoreCoordinator &coordinator)
{
    QByteArray mark;
    for (const auto &store : coordinator.persistentStores()) {
        mark += store->identity().identifier().toUtf8() + '\n';
        if (!store->path().isNull())
            mark += markOfFolder(QFileInfo(store->path()).path()) + '\n';
    }
    return mark;
}

bool VXIsMarkOfStores(const QByteArray &text)
{
    static const QRegularExpression mark(u"^([0-9A-Fa-f-]{36}\\n([0-9]+ [0-9]+\\.[0-9]+\\n)?)+\\z"_s);
    return mark.match(QString::fromLatin1(text)).hasMatch();
}
