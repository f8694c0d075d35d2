#include "VXGammuContacts.h"

#include "VXGammuContactMap.h"
#include "VXGammuProperties.h"
#include "VXGammuReading.h"
#include "VXGammuText.h"

#include <QtCore/QCborValue>

#include <memory>
#include <span>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString expectedKey = u"expected"_s;

struct FreeEntry
{
    void operator()(GSM_MemoryEntry *entry) const
    {
        GSM_FreeMemoryEntry(entry);
        delete entry;
    }
};
using Entry = std::unique_ptr<GSM_MemoryEntry, FreeEntry>;

// The contact's memory; MEM_INVALID, with a failure, if that memory holds no contacts.
GSM_MemoryType memoryOf(const QVariantMap &contact, VXGammuFailure &failure)
{
    const QString name = contact.value(u"memory"_s, u"ME"_s).toString();
    for (const GSM_MemoryType memory : {MEM_ME, MEM_SM, MEM_MT, MEM_FD, MEM_ON}) {
        if (name == QLatin1StringView(GSM_MemoryTypeToString(memory)))
            return memory;
    }
    failure = VXGammuRefusal(u"No memory for contacts is named \"%1\"."_s, {name});
    return MEM_INVALID;
}

// The contact's location; 0 if it has none, and also, with a failure, if it is not a location.
int locationOf(const QVariantMap &contact, VXGammuFailure &failure)
{
    const QVariant value = contact.value(u"location"_s);
    const int location = VXLocationFromVariant(value);
    if (location == 0 && value.isValid())
        failure = VXGammuRefusal(u"\"%1\" is no location: these are numbers from 1."_s, {value.toString()});
    return location;
}

// An empty entry with the contact's place; null, with a failure, if it cannot be a contact's place.
Entry makeEntry(const QVariantMap &contact, VXGammuFailure &failure)
{
    const GSM_MemoryType memory = memoryOf(contact, failure);
    const int location = failure ? 0 : locationOf(contact, failure);
    if (failure)
        return nullptr;
    Entry entry(new GSM_MemoryEntry{});
    entry->MemoryType = memory;
    entry->Location = location;
    return entry;
}

GSM_Error put(VXGammuSession &session, GSM_MemoryEntry &entry)
{
    for (GSM_SubMemoryEntry &value : std::span(entry.Entries, size_t(entry.EntriesNum)))
        value.AddError = ERR_NONE; // phones that accept everything do not set it
    return session.call([&](auto *machine) {
        return entry.Location > 0 ? GSM_SetMemory(machine, &entry) : GSM_AddMemory(machine, &entry);
    });
}

// The values for which the phone had no place.
QStringList refusedValues(const GSM_MemoryEntry &entry)
{
    QStringList refused;
    for (const GSM_SubMemoryEntry &value : std::span(entry.Entries, size_t(entry.EntriesNum))) {
        if (value.AddError != ERR_NONE)
            refused.append(VXTextFromGammu(value.Text) + ": "_L1 + VXGammuErrorText(value.AddError));
    }
    return refused;
}

GSM_Error get(VXGammuSession &session, GSM_MemoryEntry &entry)
{
    return session.call([&](auto *machine) { return GSM_GetMemory(machine, &entry); });
}

// Checks that it is still the contact for which the request was made, if the request says so ("expected", as it was
// read).
VXGammuFailure checkPlace(const QVariantMap &contact, const GSM_MemoryEntry &found)
{
    if (!contact.contains(expectedKey) ||
        QCborValue::fromVariant(contact.value(expectedKey)) == QCborValue::fromVariant(VXContactFromGammu(found)))
        return {};
    return VXGammuRefusal(
        u"Another contact lies at %1 %2; read the contacts again."_s,
        {QLatin1StringView(GSM_MemoryTypeToString(found.MemoryType)), QString::number(found.Location)});
}

// What the phone has made of it; empty if it does not tell.
QVariantMap written(VXGammuSession &session, const GSM_MemoryEntry &entry)
{
    const Entry there(new GSM_MemoryEntry{});
    there->MemoryType = entry.MemoryType;
    there->Location = entry.Location;
    return get(session, *there) == ERR_NONE ? VXContactFromGammu(*there) : QVariantMap();
}

} // namespace

VXGammuFailure VXGammuContacts::read(VXGammuSession &session, VXGammuJob &job)
{
    const QVariantMap request = job.object().toMap();
    std::vector<GSM_MemoryType> memories{MEM_ME, MEM_SM};
    if (request.contains(u"memory"_s)) {
        VXGammuFailure failure;
        memories = {memoryOf(request, failure)};
        if (failure)
            return failure;
    }
    VXGammuReading reading(job);
    GSM_Error code = ERR_NONE;
    for (size_t at = 0; at < memories.size() && code == ERR_NONE; ++at)
        code = reading.readMemory(session, memories[at],
                                  [&](const GSM_MemoryEntry &entry) { reading.addItem(VXContactFromGammu(entry)); });
    const VXGammuFailure failure = reading.finish(u"The contacts could not be read: %1"_s, code);
    const QVariant phone = failure ? QVariant() : VXReadGammuIMEI(session);
    if (phone.isValid()) { // which of several phones that may be at one port
        QVariantMap result = job.result();
        result.insert(u"phone"_s, phone);
        job.setResult(result);
    }
    return failure;
}

VXGammuFailure VXGammuContacts::write(VXGammuSession &session, VXGammuJob &job)
{
    QVariantMap contact = job.object().toMap();
    VXGammuFailure failure;
    const Entry entry = makeEntry(contact, failure);
    if (!entry)
        return failure;
    const QString cannotWrite = u"The contact could not be written: %1"_s;
    QVariantMap there;
    if (entry->Location > 0) {
        const GSM_Error found = get(session, *entry);
        if (found != ERR_NONE && found != ERR_EMPTY)
            return VXGammuTrouble(cannotWrite, found);
        if (failure = checkPlace(contact, *entry); failure)
            return failure;
        there = VXContactFromGammu(*entry);
        VXRemoveContactValues(*entry);
    }
    contact.remove(expectedKey);
    failure = VXContactToGammu(contact, there, VXGammuGate(session.takesCards()), *entry);
    if (failure)
        return failure;
    if (const GSM_Error code = put(session, *entry); code != ERR_NONE)
        return VXGammuTrouble(cannotWrite, code);

    const QStringList refused = refusedValues(*entry);
    QVariantMap result = VXGammuReading::result(refused.isEmpty(), refused);
    result.insert(u"memory"_s, QString::fromLatin1(GSM_MemoryTypeToString(entry->MemoryType)));
    result.insert(u"location"_s, entry->Location);
    if (const QVariantMap made = written(session, *entry); !made.isEmpty())
        result.insert(u"contact"_s, made);
    job.setResult(result);
    return {};
}

VXGammuFailure VXGammuContacts::remove(VXGammuSession &session, VXGammuJob &job)
{
    const QVariantMap contact = job.object().toMap();
    VXGammuFailure failure;
    const Entry entry = makeEntry(contact, failure);
    if (!entry)
        return failure;
    if (entry->Location == 0)
        return VXGammuRefusal(u"The contact to delete must have a location."_s);
    // Deleting something that does not exist is an error on some phones but not on others.
    GSM_Error code = get(session, *entry);
    failure = code == ERR_NONE ? checkPlace(contact, *entry) : failure;
    if (failure)
        return failure;
    if (code == ERR_NONE)
        code = session.call([&](auto *machine) { return GSM_DeleteMemory(machine, entry.get()); });
    return code == ERR_NONE ? VXGammuFailure() : VXGammuTrouble(u"The contact could not be deleted: %1"_s, code);
}
