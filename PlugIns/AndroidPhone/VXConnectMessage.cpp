#include "VXConnectMessage.h"

#include "VXPhoneText.h"

#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusVariant>

using namespace Qt::StringLiterals;

QDBusArgument &operator<<(QDBusArgument &argument, const VXConnectAddress &address)
{
    argument.beginStructure();
    argument << address.address;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, VXConnectAddress &address)
{
    argument.beginStructure();
    argument >> address.address;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const VXConnectAttachment &attachment)
{
    argument.beginStructure();
    argument << attachment.part << attachment.type << attachment.preview << attachment.identifier;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, VXConnectAttachment &attachment)
{
    argument.beginStructure();
    argument >> attachment.part >> attachment.type >> attachment.preview >> attachment.identifier;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const VXConnectMessage &message)
{
    argument.beginStructure();
    argument << message.event << message.body << message.addresses << message.date << message.type << message.read
             << message.thread << message.identifier << message.card << message.attachments;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, VXConnectMessage &message)
{
    argument.beginStructure();
    argument >> message.event >> message.body >> message.addresses >> message.date >> message.type >> message.read >>
        message.thread >> message.identifier >> message.card >> message.attachments;
    argument.endStructure();
    return argument;
}

void VXConnectMessage::registerTypes()
{
    qDBusRegisterMetaType<VXConnectAddress>();
    qDBusRegisterMetaType<QList<VXConnectAddress>>();
    qDBusRegisterMetaType<VXConnectAttachment>();
    qDBusRegisterMetaType<QList<VXConnectAttachment>>();
    qDBusRegisterMetaType<VXConnectMessage>();
}

std::optional<VXConnectMessage> VXConnectMessage::fromArgument(const QVariant &argument)
{
    const bool isWrapped = argument.metaType() == QMetaType::fromType<QDBusVariant>();
    const QVariant value = isWrapped ? argument.value<QDBusVariant>().variant() : argument;
    const auto wrapped = value.value<QDBusArgument>();
    if (wrapped.currentType() != QDBusArgument::StructureType ||
        wrapped.currentSignature() != "(isa(s)xiixixa(xsss))"_L1)
        return std::nullopt;
    return qdbus_cast<VXConnectMessage>(value);
}

QVariantMap VXConnectMessage::record(const QString &deviceURL) const
{
    const QString state = isIncoming() ? (read != 0 ? u"read"_s : u"unread"_s) : type == Sent ? u"sent"_s : u"unsent"_s;
    QVariantMap record{{u"kind"_s, u"message"_s},
                       {u"state"_s, state},
                       {u"memory"_s, QString::number(thread)},
                       {u"locations"_s, QVariantList{identifier}},
                       {u"isComplete"_s, true},
                       {u"isInbox"_s, isIncoming()},
                       {u"device_url"_s, deviceURL},
                       {u"url"_s, u"%1/messages/%2/%3"_s.arg(deviceURL).arg(thread).arg(identifier)}};
    VXInsertParty(record, isIncoming(), number());
    QStringList all;
    for (const VXConnectAddress &address : addresses)
        all.append(address.address);
    if (!isIncoming() && all.size() > 1)
        record.insert(u"to"_s, all.join(", "_L1));
    if (date > 0)
        record.insert(u"date"_s, QDateTime::fromMSecsSinceEpoch(date, Qt::UTC));
    const bool isText = !body.isEmpty() || attachments.isEmpty();
    record.insert(u"isDecodable"_s, isText);
    if (isText)
        record.insert(u"text"_s, body.isNull() ? u""_s : body);
    if (!attachments.isEmpty())
        record.insert(u"attachmentCount"_s, attachments.size());
    return record;
}
