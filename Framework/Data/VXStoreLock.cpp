#include "VXStoreLock.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

QString VXStoreLock::lockFileForStorePath(const QString &storePath)
{
    const QFileInfo place(
        QDir::cleanPath(storePath)); // a link is a place of its own: what replaces it leaves its target
    return place.absolutePath() + "/."_L1 + place.fileName() + ".lock"_L1;
}

VXStoreLock::Ptr VXStoreLock::take(const QString &storePath, Purpose purpose, std::chrono::milliseconds timeout,
                                   VXError *error, bool *isBusy)
{
    const QString path = lockFileForStorePath(storePath);
    const bool isReplacing = purpose == Purpose::Replace;
    std::unique_ptr<VXFileLock> lock;
    if (purpose != Purpose::Read || QFileInfo::exists(path))
        lock = std::make_unique<VXFileLock>(path, timeout,
                                            isReplacing ? VXFileLock::Mode::Exclusive : VXFileLock::Mode::Shared);
    const bool isInTheWay = lock && lock->isTimedOut();
    if (isBusy != nullptr)
        *isBusy = isInTheWay;
    if (lock && !lock->isHeld() && (isInTheWay || isReplacing || !lock->isImpossible())) {
        const QString reason = isInTheWay ? isReplacing ? VXLocalizedString(u"Another program has it open."_s)
                                                        : VXLocalizedString(u"It is being replaced or upgraded."_s)
                                          : lock->reason();
        const QString title = isInTheWay ? VXLocalizedString(u"The store is in use"_s)
                                         : VXLocalizedString(u"The store cannot be locked"_s);
        VXSetError(error, VXMakeFileError(title, reason, storePath));
        return nullptr;
    }
    if (lock && !lock->isHeld())
        lock = nullptr;
    const QString target = QFileInfo(storePath).canonicalFilePath();
    if (isReplacing || target.isEmpty() || lockFileForStorePath(target) == path)
        return Ptr(new VXStoreLock(std::move(lock), nullptr));
    const Ptr other = take(target, purpose, timeout, error, isBusy);
    return other ? Ptr(new VXStoreLock(std::move(lock), other)) : nullptr;
}
