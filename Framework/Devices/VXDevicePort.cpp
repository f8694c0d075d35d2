#include "VXDevicePort.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <array>
#include <limits.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString folderOfProcess(const QString &process)
{
    return "/proc/"_L1 + process;
}

// Parses "PID (NAME) STATE PARENT ..."; the name may contain any character.
bool isOurs(const QString &process)
{
    const QByteArray stat = contentsOf(folderOfProcess(process) + "/stat"_L1);
    const QByteArray parent = stat.mid(stat.lastIndexOf(')') + 2).split(' ').value(1);
    return process.toLongLong() == ::getpid() || parent.toLongLong() == ::getpid();
}

bool hasOpen(const QString &process, const QByteArray &port)
{
    const QString folder = folderOfProcess(process) + "/fd"_L1;
    for (const QString &descriptor : QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        std::array<char, PATH_MAX> target{};
        const QByteArray link = QFile::encodeName(folder + u'/' + descriptor);
        const ssize_t size = ::readlink(link.constData(), target.data(), target.size());
        if (size > 0 && QByteArrayView(target.data(), size) == port)
            return true;
    }
    return false;
}

// Null when no process has locked the port, or that process has ended.
QString processOfLock(const QString &port)
{
    const QByteArray owner = contentsOf("/run/lock/LCK.."_L1 + QFileInfo(port).fileName()).trimmed();
    const QString process = QString::number(owner.toLongLong());
    return owner.toLongLong() > 0 && QFileInfo::exists(folderOfProcess(process)) ? process : QString();
}

VXError errorOf(const QString &problem, const QString &remedy)
{
    return {VXErrorDomain,
            VXErrorGeneral,
            {{VXLocalizedDescriptionKey, problem}, {VXLocalizedRecoverySuggestionKey, remedy}}};
}

} // namespace

QStringList VXProgramsHoldingPort(const QString &path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return {};
    const QByteArray port = QFile::encodeName(file.canonicalFilePath());
    const QString locker = processOfLock(file.canonicalFilePath());
    QStringList holders;
    for (const QString &process : QDir(u"/proc"_s).entryList({u"[1-9]*"_s}, QDir::Dirs)) {
        if ((process != locker && !hasOpen(process, port)) || isOurs(process))
            continue;
        const QString name = QString::fromUtf8(contentsOf(folderOfProcess(process) + "/comm"_L1)).trimmed();
        holders.append(u"%1 (%2)"_s.arg(name, VXLocalizedString(u"process %1"_s).arg(process)));
    }
    holders.sort();
    return holders;
}

VXError VXPortIsHeldError(const QString &path, const QStringList &holders)
{
    return errorOf(
        VXLocalizedString(u"%1 is held by %2."_s).arg(path, holders.join(", "_L1)),
        VXLocalizedString(u"Only one program can use a port: end the other one, or use the phone through it."_s));
}

VXError VXProblemOfPort(const QString &path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return errorOf(VXLocalizedString(u"There is no %1."_s).arg(path),
                       VXLocalizedString(u"Connect the phone and switch it on; \"vornix devices find\" shows the ports "
                                         "that there are."_s));
    if (::access(QFile::encodeName(path).constData(), R_OK | W_OK) != 0)
        return errorOf(VXLocalizedString(u"This user may not use %1."_s).arg(path),
                       VXLocalizedString(u"Add the user to the group %1, and log in again."_s).arg(file.group()));
    const QStringList holders = VXProgramsHoldingPort(path);
    return holders.isEmpty() ? VXError() : VXPortIsHeldError(path, holders);
}
