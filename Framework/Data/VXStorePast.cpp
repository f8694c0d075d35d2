#include "VXStorePast.h"

#include "VXDiagnostics.h"
#include "VXMethodLog.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QVariantMap>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestList = 10;

QVariantList listOf(const QString &storePath)
{
    const QString file = VXStorePast::fileForStorePath(storePath);
    return QFileInfo::exists(file) ? VXPropertyList::fromFile(file).toList() : QVariantList();
}

} // namespace

QString VXStorePast::fileForStorePath(const QString &storePath)
{
    const QFileInfo place(QDir::cleanPath(storePath));
    return place.absolutePath() + "/."_L1 + place.fileName() + ".past"_L1;
}

void VXStorePast::note(const QString &storePath, const QString &keptPath, const QString &reason)
{
    QVariantList list = listOf(storePath);
    list.prepend(
        QVariantMap{{u"path"_s, keptPath}, {u"date"_s, QDateTime::currentDateTimeUtc()}, {u"reason"_s, reason}});
    list = list.first(std::min(list.size(), longestList));
    VXError error;
    if (!VXPropertyList::toFile(list, fileForStorePath(storePath), VXPropertyList::Format::XML, &error))
        VXLogClassMethod(VXLogWarning, VXStorePast, "note", error.description());
}

QList<VXStorePast::Entry> VXStorePast::entries(const QString &storePath)
{
    QList<Entry> entries;
    for (const QVariant &each : listOf(storePath)) {
        const QVariantMap entry = each.toMap();
        const QString path = entry.value(u"path"_s).toString();
        if (QFileInfo::exists(path))
            entries.append({path, entry.value(u"date"_s).toDateTime(), entry.value(u"reason"_s).toString()});
    }
    return entries;
}
