#include "VXGammuReading.h"

#include "VXGammuText.h"

#include <algorithm>
#include <memory>
#include <utility>

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
    _job.expect(count);
}

void VXGammuReading::addItem(const QVariantMap &item)
{
    _job.addItem(item);
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
    _missing = known == ERR_NONE ? status.MemoryUsed : 0;
    _lastLocation = known == ERR_NONE ? status.MemoryUsed + status.MemoryFree : 0;
    expectMore(_missing);

    const auto entry = std::make_unique<GSM_MemoryEntry>();
    entry->MemoryType = memory;
    for (int refused = 0, isFirst = 1;; isFirst = 0) {
        if (isCancelled())
            return ERR_CANCELED;
        const GSM_Error code = nextEntry(session, *entry, isFirst != 0);
        if (code == ERR_EMPTY && _missing > 0)
            addProblem(name, code); // an entry without content
        if (code == ERR_EMPTY || (isFirst != 0 && isAbsent(code)))
            return ERR_NONE;
        if (VXGammuSession::endsConnection(code))
            return code;
        --_missing;
        if (code != ERR_NONE) {
            addProblem(u"%1 %2"_s.arg(name).arg(entry->Location), code);
            if (std::exchange(refused, entry->Location) == entry->Location)
                return ERR_NONE; // the phone cannot get beyond it
            continue;
        }
        take(*entry);
        GSM_FreeMemoryEntry(entry.get());
        _job.step();
    }
}

// Some phones cannot provide the next entry, and some take an empty one for the end: these are asked for each location.
GSM_Error VXGammuReading::nextEntry(VXGammuSession &session, GSM_MemoryEntry &entry, bool isFirst)
{
    const GSM_MemoryType memory = entry.MemoryType;
    const int before = isFirst ? 0 : entry.Location;
    GSM_Error code = session.call([&](auto *machine) { return GSM_GetNextMemory(machine, &entry, isFirst); });
    const bool cannotTell = code == ERR_NOTSUPPORTED || code == ERR_NOTIMPLEMENTED;
    entry.MemoryType = memory; // whatever the library leaves there after an error
    if (cannotTell || (code == ERR_EMPTY && _missing > 0)) {
        entry.Location = before;
        code = nextByLocation(session, entry);
        entry.MemoryType = memory;
    }
    return code;
}

GSM_Error VXGammuReading::nextByLocation(VXGammuSession &session, GSM_MemoryEntry &entry)
{
    const GSM_MemoryType memory = entry.MemoryType;
    for (int location = entry.Location + 1; location <= _lastLocation && !isCancelled(); ++location) {
        entry.MemoryType = memory;
        entry.Location = location;
        const GSM_Error code = session.call([&](auto *machine) { return GSM_GetMemory(machine, &entry); });
        if (code != ERR_EMPTY)
            return code;
    }
    return ERR_EMPTY;
}

VXGammuFailure VXGammuReading::finish(const QString &description, GSM_Error code)
{
    QVariantMap whole = result(code == ERR_NONE && _problems.isEmpty(), _problems);
    whole.insert(u"items"_s, QVariantList()); // they were sent one by one
    _job.setResult(whole);
    if (code == ERR_NONE || code == ERR_CANCELED)
        return {}; // whoever cancelled knows
    return VXGammuTrouble(description, code);
}

QVariantMap VXGammuReading::result(bool isComplete, const QStringList &problems)
{
    return {{u"isComplete"_s, isComplete}, {u"problems"_s, problems}};
}
