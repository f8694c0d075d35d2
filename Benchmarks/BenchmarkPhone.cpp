// BenchmarkPhone ADDRESS FOLDER CONTACTS MESSAGES [lies]: plays KDE Connect's daemon with one phone on the bus of that address, as far
// as a driver asks it. Contacts are written into the folder, messages lie in fifty conversations; with lies what they say of themselves
// cannot be. Prints "ready".

#include "VXConnectMessage.h"
#include "VXConnectNames.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusVirtualObject>

#include <cstdio>
#include <limits>

using namespace Qt::StringLiterals;
using namespace VXConnectNames;

namespace {

const QString phone = u"phone"_s;
constexpr int threads = 50;

class Daemon : public QDBusVirtualObject
{
public:
    Daemon(QDBusConnection connection, const QString &folder, int contacts, int messages, bool lies)
        : _connection(std::move(connection)), _folder(folder), _contacts(contacts), _messages(messages), _lies(lies)
    {
        QDir().mkpath(_folder);
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &call, const QDBusConnection &) override
    {
        _connection.send(call.createReply(answer(call)));
        if (call.member() == "requestAllConversationThreads"_L1) {
            for (int thread = 0; thread < threads && thread < _messages; ++thread) {
                tell(u"conversationCreated"_s, thread, countOf(thread) - 1); // the newest
                loaded(thread, 1);
            }
        } else if (call.member() == "requestConversation"_L1 && call.interface() == sms) {
            const int thread = call.arguments().value(0).toInt();
            loaded(thread, countOf(thread));
        } else if (call.member() == "requestConversation"_L1) {
            const int thread = call.arguments().value(0).toInt();
            for (int index = 0; index < countOf(thread); ++index)
                tell(u"conversationUpdated"_s, thread, index);
        } else if (call.member() == "synchronizeRemoteWithLocal"_L1) {
            writeContacts();
            send(path(phone, u"contacts"_s), contacts, u"localCacheSynchronized"_s, {QStringList()});
        }
        return true;
    }

private:
    static QVariantList answer(const QDBusMessage &call)
    {
        if (call.member() == "deviceNames"_L1)
            return {QVariant::fromValue(QMap<QString, QString>{{phone, u"Phone"_s}})};
        if (call.member() == "GetAll"_L1)
            return {QVariantMap{{u"name"_s, u"Phone"_s}, {u"isReachable"_s, true}, {u"isTrusted"_s, true}}};
        if (call.member() == "loadedPlugins"_L1)
            return {QStringList{u"kdeconnect_sms"_s, u"kdeconnect_contacts"_s}};
        if (call.member() == "activeConversations"_L1)
            return {QVariantList()};
        return {};
    }
    int countOf(int thread) const { return _messages / threads + (thread < _messages % threads ? 1 : 0); }
    void send(const QString &object, const QString &interface, const QString &member, const QVariantList &arguments)
    {
        QDBusMessage signal = QDBusMessage::createSignal(object, interface, member);
        signal.setArguments(arguments);
        _connection.send(signal);
    }
    void tell(const QString &member, int thread, int index)
    {
        VXConnectMessage message;
        message.event = 1;
        message.body = u"This is message %1 of the conversation %2."_s.arg(index).arg(thread);
        message.addresses = {{u"+4915%1"_s.arg(thread, 7, 10, QChar(u'0'))}};
        message.date = 1'770'000'000'000 + (qint64(index) * threads + thread) * 1000;
        message.type = 1 + index % 2;
        message.read = 1;
        message.thread = thread;
        message.identifier = index * threads + thread + 1;
        if (_lies)
            lie(message, index);
        send(path(phone), conversations, member, {QVariant::fromValue(QDBusVariant(QVariant::fromValue(message)))});
    }
    // Of the first conversation, all have the same identifier.
    static void lie(VXConnectMessage &message, int index)
    {
        const qint64 dates[] = {0, -1, 4'102'444'800'000, std::numeric_limits<qint64>::max(), message.date};
        static const QString numbers[] = {u"Bank"_s, u"+49 (0) x15"_s, {}, u"0\n1"_s};
        message.date = dates[size_t(index) % std::size(dates)];
        message.addresses = {{numbers[size_t(index) % std::size(numbers)]}};
        message.body = message.body.left(index % 40) + QString(index % 3, QChar(u'\u0007'));
        message.type = index % 9;
        message.identifier = message.thread == 0 ? 1 : message.identifier;
    }
    void loaded(int thread, int count)
    {
        send(path(phone), conversations, u"conversationLoaded"_s, {qint64(thread), qulonglong(count)});
    }
    void writeContacts() const
    {
        for (int contact = 0; contact < _contacts; ++contact) {
            QFile file(u"%1/%2.vcf"_s.arg(_folder).arg(contact));
            if (file.open(QIODevice::WriteOnly))
                file.write("BEGIN:VCARD\nVERSION:2.1\nN:Miller;Person " + QByteArray::number(contact) +
                           ";;;\nTEL;CELL:+49171" + QByteArray::number(1'000'000 + contact) + "\nEND:VCARD\n");
        }
    }

    QDBusConnection _connection;
    const QString _folder;
    const int _contacts;
    const int _messages;
    const bool _lies;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.size() < 5)
        return 2;
    qDBusRegisterMetaType<QMap<QString, QString>>();
    VXConnectMessage::registerTypes();
    QDBusConnection connection = QDBusConnection::connectToBus(words[1], u"phone"_s);
    Daemon daemon(connection, words[2] + "/kdeconnect-"_L1 + phone, words[3].toInt(), words[4].toInt(),
                  words.value(5) == "lies"_L1);
    if (!connection.registerVirtualObject(u"/"_s, &daemon, QDBusConnection::SubPath) ||
        !connection.registerService(service))
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
