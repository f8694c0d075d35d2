#include "VXMessageDelivery.h"

#include "MessageDataConstants.h"
#include "VXBundle.h"
#include "VXMethodLog.h"
#include "VXOutgoingMessage.h"
#include "VXPluginGuard.h"

#include <QtCore/QHash>

using namespace Qt::StringLiterals;

using Outcome = VXOutboxDelivery::Outcome;

namespace {

// In seconds from making a draft to adding its entry: a younger draft may still get one.
constexpr qint64 longestSending = 60;

QString localized(const QString &text)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(u"com.halvern.VNX2.plugin.messages"_s);
    return bundle ? bundle->localizedStringForKey(text) : text;
}

QString textOf(const VXError &error)
{
    const QString suggestion = error.localizedRecoverySuggestion();
    return suggestion.isEmpty() ? error.localizedDescription()
                                : error.localizedDescription() + " ("_L1 + suggestion + u')';
}

// Why there is no phone to send with: one that is no longer known will not come back.
VXOutboxDelivery withoutPhone(const QUrl &url)
{
    if (VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()).contains(url))
        return {.outcome = Outcome::NotDelivered, .problem = localized(u"The phone's plugin is not in use."_s)};
    return {.outcome = Outcome::Refused, .problem = localized(u"There is no such phone any more."_s)};
}

// A user who deletes the draft does not want it to be sent. None if it exists, or if nothing is known of a draft.
std::optional<VXOutboxDelivery> withoutDraft(const QUrl &messageURI, const VXMessageStore &store)
{
    const VXManagedObjectID known = store.coordinator()->objectIDForURIRepresentation(messageURI);
    if (known.isNull())
        return std::nullopt;
    VXManagedObjectContext context(store.coordinator());
    VXFetchRequest request(known.entity());
    request.predicate = VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::Equal,
                                                VXExpression::constant(QVariant::fromValue(known)));
    VXError error;
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, &error);
    if (!found) // it may exist
        return VXOutboxDelivery{.outcome = Outcome::NotDelivered, .problem = error.localizedDescription()};
    const auto isInTrash = [&] {
        return found->first()->valueForKey(u"folder"_s).value<VXManagedObjectPtr>() ==
               VXFetchRootFolder(VXTrashFolder, &context);
    };
    if (found->isEmpty() || isInTrash())
        return VXOutboxDelivery{.outcome = Outcome::Refused,
                                .problem = localized(u"The message was deleted before it was sent."_s)};
    return std::nullopt;
}

} // namespace

VXOutboxRunner::Cancel VXMessageDelivery::deliver(const VXOutboxEntry &entry, const VXMessageStore &store,
                                                  const VXOutboxRunner::Completion &completion)
{
    const VXOutgoingMessage message(entry);
    if (const std::optional<VXOutboxDelivery> obstacle = withoutDraft(message.messageURI, store)) {
        completion(*obstacle);
        return {};
    }
    const bool isWhole = !message.number().isNull() && !message.device.isEmpty();
    const VXDevicePlugin::Ptr device = isWhole ? VXDevicePlugin::deviceAtURL(message.device) : nullptr;
    if (!device) {
        completion(
            isWhole ? withoutPhone(message.device)
                    : VXOutboxDelivery{.outcome = Outcome::Refused, .problem = localized(u"The entry is damaged."_s)});
        return {};
    }
    const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(u"send_message"_s);
    action->setObject(QVariantMap{{u"number"_s, message.number()}, {u"text"_s, message.text}});
    const QVariantMap record = message.record().map();
    VXNotificationCenter::defaultCenter().postNotificationName(VXMessageWillSendNotification, record);
    VXCallPlugin(*device, "executeWithDevice", [&] {
        action->executeWithDevice(device, [completion, record](VXDeviceAction *concluded) {
            completion(outcomeOf(*concluded));
            VXNotificationCenter::defaultCenter().postNotificationName(VXMessageDidSendNotification, record);
        });
    });
    return [action] { action->cancel(); };
}

// If a phone gives no certain answer, the message may have been sent.
VXOutboxDelivery VXMessageDelivery::outcomeOf(const VXDeviceAction &action)
{
    const VXError error = action.error();
    if (error.isNull())
        return {.outcome = Outcome::Sent};
    const QString failure = action.result().toMap().value(u"failure"_s).toString();
    const bool wasNotAsked = error.domain() == VXErrorDomain && error.code() == VXErrorCouldNotExecute;
    const Outcome outcome = failure == "refused"_L1 || wasNotAsked ? Outcome::Refused
                            : failure == "later"_L1                ? Outcome::NotDelivered
                                                                   : Outcome::Unknown;
    return {.outcome = outcome, .problem = textOf(error)};
}

void VXMessageDelivery::fileIfSent(const VXOutboxEntry &entry, const VXMessageStore &store)
{
    if (entry.state != VXOutboxState::Sent)
        return;
    VXManagedObjectContext context(store.coordinator());
    const VXManagedObjectID known =
        store.coordinator()->objectIDForURIRepresentation(VXOutgoingMessage(entry).messageURI);
    const VXManagedObjectPtr message = known.isNull() ? VXManagedObjectPtr() : context.existingObjectWithID(known);
    if (!message || message->valueForKey(u"state"_s).toInt() != static_cast<int>(VXMessageRecord::State::Unsent))
        return; // deleted meanwhile, or already filed
    if (VXOutgoingMessage::isEmptyDraft(message))
        VXOutgoingMessage(entry).writeTo(message);
    message->setValueForKey(static_cast<int>(VXMessageRecord::State::Sent), u"state"_s);
    message->setValueForKey(entry.finishedDate, u"date"_s);
    if (message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>() == VXFetchRootFolder(VXDraftsFolder, &context))
        VXMoveMessageToFolder(message, VXFetchRootFolder(VXSentFolder, &context), false);
    VXError error = context.failedRead(); // then the next run files it
    if (error || !context.save(&error))
        VXLogClassMethod(VXLogError, VXMessageDelivery, "fileIfSent:", error.description());
}

void VXMessageDelivery::settle(const VXOutbox &outbox, const VXMessageStore &store)
{
    const std::optional<QList<VXOutboxEntry>> entries = outbox.entries(VXOutgoingMessage::kind);
    if (!entries)
        return;
    QHash<QUrl, VXOutgoingMessage> messages;
    for (const VXOutboxEntry &entry : *entries) {
        fileIfSent(entry, store);
        const VXOutgoingMessage message(entry);
        messages.insert(message.messageURI, message);
    }
    VXManagedObjectContext context(store.coordinator());
    VXFetchRequest request(*store.coordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(
        u"folder == %@ AND text == NULL"_s, {QVariant::fromValue(VXFetchRootFolder(VXDraftsFolder, &context))});
    const std::optional<VXFetchResult> drafts = context.executeFetchRequest(request);
    const QDateTime latest = QDateTime::currentDateTimeUtc().addSecs(-longestSending);
    for (qsizetype at = 0; drafts && at < drafts->size(); ++at) {
        const VXManagedObjectPtr draft = drafts->at(at);
        const auto message = messages.constFind(draft->objectID().uriRepresentation());
        if (!VXOutgoingMessage::isEmptyDraft(draft))
            continue;
        if (message != messages.constEnd())
            message->writeTo(draft);
        else if (draft->valueForKey(u"date"_s).toDateTime() < latest)
            context.deleteObject(draft);
    }
    VXError error = context.failedRead();
    if (error || (context.hasChanges() && !context.save(&error)))
        VXLogClassMethod(VXLogError, VXMessageDelivery, "settle:", error.description());
}
