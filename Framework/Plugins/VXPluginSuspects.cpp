#include "VXPluginSuspects.h"

#include "VXError.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXMethodLog.h"
#include "VXPropertyList.h"

#include <QtCore/QFile>
#include <QtCore/QMap>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Suspects = QMap<QString, VXPluginSuspect>; // by identifier

constexpr auto versionKey = "version"_L1;
constexpr auto pathKey = "path"_L1;
constexpr auto workKey = "work"_L1;
constexpr auto endsKey = "ends"_L1;

QString recordPath()
{
    return VXPluginMarker::folder() + "/Ended"_L1;
}

Suspects read()
{
    Suspects suspects;
    if (!QFile::exists(recordPath()))
        return suspects;
    const QVariantMap record = VXPropertyList::fromFile(recordPath()).toMap();
    for (auto entry = record.cbegin(); entry != record.cend(); ++entry) {
        const QVariantMap values = entry->toMap();
        const auto work = static_cast<VXPluginWork>(std::clamp(values.value(workKey).toInt(), 0, 2));
        suspects.insert(entry.key(), {.plugin = {entry.key(), values.value(versionKey).toString(),
                                                 values.value(pathKey).toString(), work},
                                      .ends = values.value(endsKey).toInt()});
    }
    return suspects;
}

bool write(const Suspects &suspects, VXError *error)
{
    if (suspects.isEmpty())
        return !QFile::exists(recordPath()) || QFile::remove(recordPath());
    QVariantMap record;
    for (const VXPluginSuspect &suspect : suspects) {
        QVariantMap values{
            {pathKey, suspect.plugin.path}, {workKey, static_cast<int>(suspect.plugin.work)}, {endsKey, suspect.ends}};
        if (!suspect.plugin.version.isNull())
            values.insert(versionKey, suspect.plugin.version);
        record.insert(suspect.plugin.identifier, values);
    }
    return VXPropertyList::toFile(record, recordPath(), VXPropertyList::Format::XML, error);
}

// Reads, changes and writes the file under a lock. @return the new contents.
Suspects update(const std::function<void(Suspects &)> &change)
{
    VXError error = VXFileManager::defaultManager().verifyPathExists(VXPluginMarker::folder());
    const VXFileLock lock(recordPath() + ".lock"_L1);
    Suspects suspects = read();
    change(suspects);
    if (error || !write(suspects, &error))
        VXLogClassMethod(VXLogWarning, VXPluginSuspects, "update",
                         u"\"%1\" cannot be written: %2"_s.arg(recordPath(), error.description()));
    return suspects;
}

} // namespace

QList<VXPluginSuspect> VXPluginSuspects::collect()
{
    Suspects found;
    for (const VXPluginAtWork &plugin : VXPluginMarker::takeLeftBehind())
        found.insert(plugin.identifier, {.plugin = plugin, .ends = 1});
    if (found.isEmpty())
        return read().values();
    const auto count = [&found](Suspects &suspects) {
        for (VXPluginSuspect suspect : std::as_const(found)) {
            const auto before = suspects.constFind(suspect.plugin.identifier);
            if (before != suspects.cend() && before->plugin.version == suspect.plugin.version)
                suspect.ends += before->ends;
            suspects.insert(suspect.plugin.identifier, suspect);
        }
    };
    return update(count).values();
}

void VXPluginSuspects::forget(const QSet<QString> &identifiers)
{
    const Suspects known = read();
    if (std::none_of(known.keyBegin(), known.keyEnd(), [&](const QString &key) { return identifiers.contains(key); }))
        return;
    update([&](Suspects &suspects) {
        suspects.removeIf([&](const auto &entry) { return identifiers.contains(entry.key()); });
    });
}

void VXPluginSuspects::giveAnotherChance(const QString &identifier)
{
    if (!read().contains(identifier))
        return;
    update([&](Suspects &suspects) {
        if (const auto suspect = suspects.find(identifier); suspect != suspects.end())
            suspect->ends = std::min(suspect->ends, endsToBlame - 1);
    });
}
