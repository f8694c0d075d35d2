#include "VXMetaDataDebt.h"

#include "VXFileDescriptor.h"
#include "VXFileManager.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString folder()
{
    return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/.due"_L1;
}

QStringList debts(const QString &pattern)
{
    return QDir(folder()).entryList({pattern}, QDir::Files, QDir::Unsorted);
}

QString ownSuffix()
{
    return QString::number(::getpid());
}

bool make(const QString &path)
{
    return VXFileDescriptor(::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW,
                                   S_IRUSR | S_IWUSR))
        .isOpen();
}

} // namespace

VXMetaDataDebt::VXMetaDataDebt(const QString &identifier) : _prefix(QString(identifier).replace(u'/', "%2F"_L1) + u'@')
{
}

void VXMetaDataDebt::mark() const
{
    const QString path = folder() + u'/' + _prefix + ownSuffix();
    if (!make(path) && errno == ENOENT && VXMakePrivateFolder(folder()))
        make(path);
}

void VXMetaDataDebt::settleOwn() const
{
    QFile::remove(folder() + u'/' + _prefix + ownSuffix());
}

void VXMetaDataDebt::settleAll() const
{
    for (const QString &name : debts(_prefix + u'*'))
        QFile::remove(folder() + u'/' + name);
}

bool VXMetaDataDebt::isAny() const
{
    return !debts(_prefix + u'*').isEmpty();
}

bool VXMetaDataDebt::isAnyOfAll()
{
    return !debts(u"*"_s).isEmpty();
}

bool VXMetaDataDebt::isOwnOfAll()
{
    return !debts("*@"_L1 + ownSuffix()).isEmpty();
}
