#include "VXCallStore.h"
#include "VXContactRecord.h"
#include "VXContactsOpen.h"
#include "VXConversationKey.h"
#include "VXDataManager.h"
#include "VXDeviceTransformer.h"
#include "VXErrorText.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLimitOption.h"
#include "VXPartySearch.h"
#include "VXPhonebookRecord.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXPluginSession.h"
#include "VXShownDate.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

using Call = VXManagedObjectPtr;

constexpr qsizetype mostNumbers = 500; // of one party: conditions that are much longer are too long for SQLite
constexpr qsizetype usualLimit = 50;
const QString missedCalls = u"direction == 1 AND duration == 0 AND connectedDate == NULL AND state == \"ended\""_s;

bool isMissed(const Call &call, const VXCallRecord &record)
{
    return record.isIncoming() && record.duration.value_or(0) == 0 && !record.connectedDate.isValid() &&
           call->valueForKey(u"state"_s) == u"ended"_s;
}

QString shortIDOf(const Call &call)
{
    return u'p' + QString::number(call->objectID().number());
}

QJsonObject jsonOf(const Call &call, const VXCallRecord &record, const QString &who)
{
    QVariantMap values = record.map();
    values.insert(u"who"_s, who);
    values.insert(u"isMissed"_s, isMissed(call, record));
    values.insert(u"state"_s, call->valueForKey(u"state"_s));
    values.insert(u"id"_s, shortIDOf(call));
    values.insert(u"uri"_s, call->objectID().uriRepresentation().toString());
    QJsonObject json = VXJSONFromVariant(values).toObject();
    json.insert(u"date"_s, VXReportedDate(record.date));
    json.insert(u"connectedDate"_s, VXReportedDate(record.connectedDate));
    return json;
}

QStringList rowOf(const Call &call, const VXCallRecord &record, const QString &who)
{
    const QString phone =
        record.deviceURL.isNull() ? QString() : VXDeviceNameAtURL().transformedValue(record.deviceURL).toString();
    return {VXShownDate(record.date),
            isMissed(call, record) ? u"missed"_s : (record.isIncoming() ? u"in"_s : u"out"_s),
            who.isEmpty() ? u"-"_s : who,
            VXShownDuration(record.duration.value_or(0)),
            phone,
            shortIDOf(call)};
}

// By what is stored of the other party, and by the numbers and e-mail addresses of those who are called so.
VXPredicate predicateOfParty(VXHostContext &host, const QString &typed)
{
    QStringList searches;
    QString address; // of what completions print
    const bool isAddress = VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(typed), nullptr, &address);
    const QString text = isAddress ? address : typed;
    const bool isNumber = VXIsValidPhoneNumber(text);
    if (const auto phonebook = isNumber ? VXPersistentStoreCoordinator::Ptr() : VXOpenContacts(host)) {
        VXManagedObjectContext contacts(phonebook);
        for (const VXManagedObjectPtr &person : VXContactsNear(contacts, text, mostNumbers + 1)) {
            const VXContactRecord contact(QVariant::fromValue(person));
            for (const VXContactRecord::Address &each : contact.numbers + contact.emails)
                searches.append(VXConversationKey(each.value));
        }
    }
    searches.removeAll(QString());
    searches.removeDuplicates();
    if (searches.size() > mostNumbers) {
        host.output.note(
            u"more than %1 numbers and addresses are called so; calls of the others are left out"_s.arg(mostNumbers));
        searches.resize(mostNumbers);
    }
    return VXHasOtherParty(text, searches);
}

// Applies the options as filters. False if one is misused, which was reported.
bool readFilters(VXHostContext &host, VXFetchRequest &request)
{
    const VXHostOptions &options = host.options;
    QList<VXPredicate> all;
    const std::pair<QString, QString> ways[] = {
        {u"missed"_s, missedCalls}, {u"incoming"_s, u"direction == 1"_s}, {u"outgoing"_s, u"direction == 0"_s}};
    QList<VXPredicate> any;
    for (const auto &[option, format] : ways) {
        const bool isIn = option == "incoming"_L1 && options.isSet(u"missed"_s); // all missed ones were incoming
        if (options.isSet(option) && !isIn)
            any.append(*VXPredicate::predicateWithFormat(format));
    }
    if (!any.isEmpty())
        all.append(VXPredicate::anyOf(any));
    if (const QString since = options.value(u"since"_s); !since.isNull()) {
        const QDateTime date = QDateTime::fromString(since, Qt::ISODate);
        if (!date.isValid()) {
            host.output.failUsage(u"--since takes a date, as 2026-01-31 or 2026-01-31T17:05"_s, VXHostUsage(options));
            return false;
        }
        all.append(*VXPredicate::predicateWithFormat(u"date >= %@"_s, {date}));
    }
    if (const QString party = options.value(u"with"_s); !party.isNull())
        all.append(predicateOfParty(host, party));
    if (!all.isEmpty())
        request.predicate = VXPredicate::allOf(all);
    return true;
}

int show(VXHostContext &host, const VXPersistentStoreCoordinator::Ptr &store)
{
    VXFetchRequest request(*store->model().entityForName(VXCallStore::entityName));
    if (!readFilters(host, request))
        return VXHostOutput::WrongUsage;
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    const qsizetype limit = VXLimitOption(host.options, usualLimit);
    request.limit = limit + 1;
    VXError error;
    VXManagedObjectContext context(store);
    const auto found = context.executeFetchRequest(request, &error);
    if (!found)
        return host.output.fail(VXErrorText(error));
    if (found->size() > limit)
        host.output.note(u"there are more; \"--limit 0\" shows all"_s);
    QJsonArray json;
    QList<QStringList> rows{{u"DATE"_s, u"CALL"_s, u"WHO"_s, u"DURATION"_s, u"PHONE"_s, u"ID"_s}};
    for (const Call &call : *found) {
        if (json.size() == limit)
            break;
        const VXCallRecord record(QVariant::fromValue(call));
        const QString who = VXDisplayStringForContacts(record.otherParty());
        json.append(jsonOf(call, record, who));
        rows.append(rowOf(call, record, who));
    }
    const QString none =
        request.predicate == VXPredicate() ? u"There are no calls.\n"_s : u"There are no such calls.\n"_s;
    host.output.answer(json.isEmpty() ? none : VXFittingTable(host.output, rows, {u"PHONE"_s, u"ID"_s}, u"WHO"_s),
                       json);
    return VXHostOutput::Done;
}

int runCalls(VXHostContext &host)
{
    return VXRunWithPlugins(host, [&](VXPluginManager &) {
        const auto store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(VXCallStore::storeName);
        return store ? show(host, store)
                     : host.output.fail(u"there is no store of calls; \"vornix log\" may tell why"_s);
    });
}

} // namespace

VXHostCommand VXCallsCommand()
{
    return {
        .name = u"calls"_s,
        .summary = u"Show the history of calls"_s,
        .details =
            u"The newest first, with the names of the contacts. A call that came in and that nobody took is "
            u"\"missed\". "
            "WHO is a name or the beginning of one, or a number. \"vornix sync\" and \"vornix run\" fill the "
            "history; --incoming and --outgoing together show both. \"vornix import-calls\" reads it from a table, \"vornix export\" writes it."_s,
        .options = {{.name = u"missed"_s, .placeholder = {}, .summary = u"Only calls that nobody took"_s},
                    {.name = u"incoming"_s, .placeholder = {}, .summary = u"Only calls that came in"_s},
                    {.name = u"outgoing"_s, .placeholder = {}, .summary = u"Only calls that went out"_s},
                    {.name = u"with"_s, .placeholder = u"WHO"_s, .summary = u"Only calls with that party"_s},
                    {.name = u"since"_s,
                     .placeholder = u"DATE"_s,
                     .summary = u"Only calls since then (ISO 8601; local time without a zone)"_s},
                    {.name = u"limit"_s,
                     .placeholder = u"N"_s,
                     .summary = u"Show so many at most, 50 without; 0: all"_s}},
        .run = runCalls};
}
