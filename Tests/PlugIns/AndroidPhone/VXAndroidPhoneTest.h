#pragma once

#include "VXAndroidPhone.h"
#include "VXBusMock.h"
#include "VXBusPhoneTest.h"
#include "VXConnectNames.h"

#include <QtDBus/QDBusMetaType>

/** What the daemon of KDE Connect cannot be made to do is played by VXBusMock; VXConnectDaemonTest has the real one. */
class VXAndroidPhoneTest : public VXBusPhoneTest
{
protected:
    VXAndroidPhoneTest()
        : VXBusPhoneTest(QStringLiteral("com.halvern.VNX2.AndroidPhone"),
                         [] { return std::make_shared<VXAndroidPhone>(); })
    {
    }

    const QString id = QStringLiteral("abc");
    std::unique_ptr<VXBusMock> mock;
    QMap<QString, QString> names{{QStringLiteral("abc"), QStringLiteral("Pixel")}};
    QVariantMap state{{QStringLiteral("name"), QStringLiteral("Pixel")},
                      {QStringLiteral("isReachable"), true},
                      {QStringLiteral("isTrusted"), true}};
    QStringList plugins{QStringLiteral("kdeconnect_sms"), QStringLiteral("kdeconnect_contacts"),
                        QStringLiteral("kdeconnect_share"), QStringLiteral("kdeconnect_telephony")};
    QList<VXConnectMessage> messages;

    void SetUp() override
    {
        qDBusRegisterMetaType<QMap<QString, QString>>();
        VXConnectMessage::registerTypes();
        add(7, QStringLiteral("First"), VXConnectMessage::Inbox);
    }
    VXConnectMessage &add(qint64 thread, const QString &text, int type)
    {
        VXConnectMessage message;
        message.event = 1;
        message.body = text;
        message.addresses = {{QStringLiteral("+49170")}};
        message.date = 1'770'000'000'000 + messages.size() * 1000;
        message.type = type;
        message.thread = thread;
        message.identifier = int(messages.size()) + 1;
        messages.append(message);
        return messages.last();
    }
    void startDaemon()
    {
        mock = std::make_unique<VXBusMock>(bus.address(), VXConnectNames::service);
        mock->answer(QStringLiteral("deviceNames"),
                     [this](const QDBusMessage &) { return QVariantList{QVariant::fromValue(names)}; });
        mock->answer(QStringLiteral("GetAll"), [this](const QDBusMessage &) { return QVariantList{state}; });
        mock->answer(QStringLiteral("loadedPlugins"), [this](const QDBusMessage &) { return QVariantList{plugins}; });
        mock->answer(QStringLiteral("requestAllConversationThreads"), [this](const QDBusMessage &) {
            QMap<qint64, VXConnectMessage> newest;
            for (const VXConnectMessage &message : messages)
                newest.insert(message.thread, message);
            for (const VXConnectMessage &message : newest) {
                tell(QStringLiteral("conversationCreated"), message);
                loaded(message.thread, 1);
            }
            return QVariantList();
        });
        mock->answer(QStringLiteral("activeConversations"), [this](const QDBusMessage &) {
            QVariantList all;
            for (const VXConnectMessage &message : messages)
                all.append(QVariant::fromValue(message));
            return QVariantList{QVariant(all)};
        });
        mock->answer(QStringLiteral("requestConversation"), [this](const QDBusMessage &call) {
            const qint64 thread = call.arguments().value(0).toLongLong();
            QList<VXConnectMessage> its = messages;
            its.removeIf([&](const VXConnectMessage &message) { return message.thread != thread; });
            if (call.interface() == VXConnectNames::sms) {
                loaded(thread, qulonglong(its.size()));
            } else {
                for (const VXConnectMessage &message : its)
                    tell(QStringLiteral("conversationUpdated"), message);
            }
            return QVariantList();
        });
    }
    void connectPhone()
    {
        startDaemon();
        makePhone();
        isReached();
    }
    /** Connected, and what lies there is known. */
    void connectAndSurvey()
    {
        connectPhone();
        EXPECT_EQ(texts(perform(QStringLiteral("read_messages")), QStringLiteral("text")).size(),
                  messages.size()); // behind the survey
    }
    void tell(const QString &member, const VXConnectMessage &message)
    {
        mock->emitSignal(path(id), VXConnectNames::conversations, member,
                         {QVariant::fromValue(QDBusVariant(QVariant::fromValue(message)))});
    }
    void loaded(qint64 thread, qulonglong count)
    {
        mock->emitSignal(path(id), VXConnectNames::conversations, QStringLiteral("conversationLoaded"),
                         {thread, count});
    }
    static QString path(const QString &deviceID, const QString &part = {})
    {
        return VXConnectNames::path(deviceID, part);
    }
    void changed(const QString &member, const QVariantList &arguments = {})
    {
        mock->emitSignal(path(id), VXConnectNames::device, member, arguments);
    }
    /** As the daemon writes them. */
    void writeCards(int first, int last) const
    {
        for (int index = first; index < last; ++index)
            writeFile(QStringLiteral(".local/share/kpeoplevcard/kdeconnect-abc/%1.vcf").arg(index),
                      "BEGIN:VCARD\nFN:Jane\nTEL:1\nEND:VCARD\n");
    }
    /** The daemon tells so, after its answer to what it is asked now. */
    void areThere()
    {
        QTimer::singleShot(0, mock.get(), [this] {
            mock->emitSignal(VXConnectNames::path(id, QStringLiteral("contacts")), VXConnectNames::contacts,
                             QStringLiteral("localCacheSynchronized"), {QStringList()});
        });
    }
    static QVariantMap hello()
    {
        return {{QStringLiteral("number"), QStringLiteral("+49 170")},
                {QStringLiteral("text"), QStringLiteral("Hello")}};
    }
};
