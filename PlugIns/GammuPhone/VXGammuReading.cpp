#include "VXGammuReading.h"

#include "VXGammuText.h"

#include <memory>

using namespace Qt::StringLiterals;

namespace {

bool isAbsent(GSM_Error code)
{
    return code == ERR_NOTSUPPORTED || code == ERR_NOTIMPLEMENTED || code == ERR_MEMORY_NOT_AVAILABLE ||
           code == ERR_NOSIM;
}

} // namespace

void VXGammuReading::expectMore(int count)
{
    _expected += count;
    _action.setProgressMaxValue(_expected);
}

void VXGammuReading::addItem(const QVariantMap &item)
{
    _items.append(item);
}

void VXGammuReading::addProblem(const QString &what, GSM_Error code)
{
    _problems.append(what + ": "_L1 + VXGammuErrorText(code));
}

GSM_Error VXGammuReading::readMemory(VXGammuSession &session, GSM_MemoryType memory,
                                     const std::function<void(const GSM_MemoryEntry &)> &take)
{
    const QString name = QLatin1StringView(GSM_MemoryTypeToString(memory));
    GSM_MemoryStatus status{.MemoryUsed = 0, .MemoryType = memory, .MemoryFree = 0};
    const GSM_Error known = session.call([&](auto *machine) { return GSM_GetMemoryStatus(machine, &status); });
    if (isAbsent(known))
        return ERR_NONE;
    if (VXGammuSession::endsConnection(known))
        return known;
    if (known == ERR_NONE)
        expectMore(status.MemoryUsed);
    _lastLocation = known == ERR_NONE ? status.MemoryUsed + status.MemoryFree : 0;

    const auto entry = std::make_unique<GSM_MemoryEntry>();
    entry->MemoryType = memory;
    for (int refused = 0, isFirst = 1;; isFirst = 0) {
        if (isCancelled())
            return ERR_CANCELED;
        const GSM_Error code = nextEntry(session, *entry, isFirst != 0);
        if (code == ERR_EMPTY || (isFirst != 0 && isAbsent(code)))
            return ERR_NONE;
        if (VXGammuSession::endsConnection(code))
            return code;
        if (code != ERR_NONE) {
            addProblem(u"%1 %2"_s.arg(name).arg(entry->Location), code);
            if (std::exchange(refused, entry->Location) == entry->Location)
                return ERR_NONE; // the phone does not get past it
            continue;
        }
        take(*entry);
        GSM_FreeMemoryEntry(entry.get());
        _action.incrementProgress();
    }
}

// Some phones can not tell the next entry: all locations are asked for.
GSM_Error VXGammuReading::nextEntry(VXGammuSession &session, GSM_MemoryEntry &entry, bool isFirst)
{
    const GSM_MemoryType memory = entry.MemoryType;
    const int before = isFirst ? 0 : entry.Location;
    GSM_Error code = session.call([&](auto *machine) { return GSM_GetNextMemory(machine, &entry, isFirst); });
    if (code == ERR_NOTSUPPORTED || code == ERR_NOTIMPLEMENTED) {
        code = ERR_EMPTY;
        for (entry.Location = before + 1; entry.Location <= _lastLocation && code == ERR_EMPTY && !isCancelled();) {
            code = session.call([&](auto *machine) { return GSM_GetMemory(machine, &entry); });
            if (code == ERR_EMPTY)
                ++entry.Location;
        }
    }
    entry.MemoryType = memory; // what the library leaves behind after an error
    return code;
}

VXError VXGammuReading::finish(const QString &description, GSM_Error code)
{
    _action.setResult(result(_items, code == ERR_NONE && _problems.isEmpty(), _problems));
    if (code == ERR_NONE || code == ERR_CANCELED)
        return {}; // an action that is cancelled has its error
    return VXMakeGammuError(description, code);
}

QVariantMap VXGammuReading::result(const QVariantList &items, bool isComplete, const QStringList &problems)
{
    return {{u"items"_s, items}, {u"isComplete"_s, isComplete}, {u"problems"_s, problems}};
}
