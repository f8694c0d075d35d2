#include "VXOutgoingMessage.h"

#include "MessageDataConstants.h"
#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXPhonebookString.h"
#include "VXPhonebookTransformer.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

const QString VXOutgoingMessage::kind = u"message"_s;

VXOutgoingMessage::VXOutgoingMessage(const VXOutboxEntry &entry)
    : to(entry.payload.value(u"to"_s).toString()), text(entry.payload.value(u"text"_s).toString()),
      device(entry.payload.value(u"device_url"_s).toString()), messageURI(entry.payload.value(u"message"_s).toString())
{
}

QString VXOutgoingMessage::destination(const QUrl &device)
{
    return VXAbsoluteString(device);
}

QUrl VXOutgoingMessage::preferredDevice()
{
    const QList<QUrl> known = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    const QUrl preferred(VXUserDefaults::standardUserDefaults().stringForKey(u"messages.device"_s));
    if (known.isEmpty())
        return {};
    return known.contains(preferred) ? preferred : known.last();
}

QString VXOutgoingMessage::number() const
{
    return VXDialledNumber(to);
}

// Limited to the length of a line.
QString VXOutgoingMessage::title() const
{
    return (VXDisplayStringForPhonebookString(to) + ": "_L1 + text.simplified()).left(60);
}

VXMessageRecord VXOutgoingMessage::record() const
{
    VXMessageRecord record;
    record.to = to;
    record.text = text;
    record.deviceURL = VXAbsoluteString(device);
    return record;
}

std::optional<qint64> VXOutgoingMessage::send(const QString &to, const QString &text, const QUrl &device,
                                              const VXMessageStore &store, const VXOutbox &outbox, VXError *error)
{
    VXOutgoingMessage message;
    message.to = to;
    message.text = text;
    message.device = device;
    if (message.number().isNull()) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"\"%1\" has no phone number."_s).arg(to)));
        return std::nullopt;
    }
    // If the process is killed during this, it leaves an empty draft, which is recognized as such, or an entry whose
    // draft is written later.
    VXManagedObjectContext context(store.coordinator());
    VXMessageRecord empty;
    empty.deviceURL = VXAbsoluteString(device);
    empty.date = QDateTime::currentDateTimeUtc();
    const VXManagedObjectPtr draft = VXMessageStore::insertMessage(empty, VXFetchRootFolder(VXDraftsFolder, &context));
    if (!context.save(error))
        return std::nullopt;
    const auto number = outbox.add(kind, destination(device), message.title(),
                                   {{u"to"_s, to},
                                    {u"text"_s, text},
                                    {u"device_url"_s, VXAbsoluteString(device)},
                                    {u"message"_s, draft->objectID().uriRepresentation().toString()}},
                                   error);
    if (number)
        message.writeTo(draft);
    else // otherwise it would stay among the drafts as if it were to be sent
        context.deleteObject(draft);
    context.save(); // on failure the next one to send it writes it
    return number;
}

bool VXOutgoingMessage::isEmptyDraft(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"state"_s).toInt() == static_cast<int>(VXMessageRecord::State::Unsent) &&
           message->valueForKey(u"to"_s).toString().isNull() && message->valueForKey(u"text"_s).toString().isNull();
}

void VXOutgoingMessage::writeTo(const VXManagedObjectPtr &draft) const
{
    draft->setValueForKey(to, u"to"_s);
    draft->setValueForKey(text, u"text"_s);
}
