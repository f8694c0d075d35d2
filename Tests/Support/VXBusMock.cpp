#include "VXBusMock.h"

#include <gtest/gtest.h>
#include <QtDBus/QDBusObjectPath>

using namespace Qt::StringLiterals;

VXBusMock::VXBusMock(const QByteArray &address, const QString &name) : _address(address), _name(name)
{
    connectToBus();
    appear();
}

VXBusMock::~VXBusMock()
{
    QDBusConnection::disconnectFromBus(_connectionName);
}

void VXBusMock::connectToBus()
{
    static int number = 0;
    _connectionName = u"mock-%1"_s.arg(++number);
    QDBusConnection made = QDBusConnection::connectToBus(QString::fromLocal8Bit(_address), _connectionName);
    EXPECT_TRUE(made.isConnected()) << "the package dbus is missing";
    EXPECT_TRUE(made.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath));
}

void VXBusMock::appear()
{
    EXPECT_TRUE(connection().registerService(_name));
}

void VXBusMock::vanish()
{
    EXPECT_TRUE(connection().unregisterService(_name));
}

void VXBusMock::restart()
{
    _held.clear();
    QDBusConnection::disconnectFromBus(_connectionName);
    connectToBus();
    appear();
}

void VXBusMock::answer(const QString &method, const Answer &answer)
{
    _behaviours[method] = {.answer = answer, .errorName = {}, .errorText = {}};
}

void VXBusMock::refuse(const QString &method, const QString &errorName, const QString &text)
{
    _behaviours[method] = {.answer = {}, .errorName = errorName, .errorText = text};
}

void VXBusMock::hold(const QString &method)
{
    _behaviours[method] = {.answer = {}, .errorName = {}, .errorText = {}, .isHeld = true};
}

qsizetype VXBusMock::count(const QString &method) const
{
    qsizetype count = 0;
    for (const QString &call : _calls)
        count += call == method || call.startsWith(method + u' ') ? 1 : 0;
    return count;
}

void VXBusMock::reply(const QDBusMessage &call, const QVariantList &arguments)
{
    connection().send(call.createReply(arguments));
}

void VXBusMock::emitSignal(const QString &path, const QString &interface, const QString &member,
                           const QVariantList &arguments)
{
    QDBusMessage signal = QDBusMessage::createSignal(path, interface, member);
    signal.setArguments(arguments);
    EXPECT_TRUE(connection().send(signal));
}

QString VXBusMock::introspect(const QString &) const
{
    return {};
}

bool VXBusMock::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QVariant first = message.arguments().value(0);
    const bool isShown = first.typeId() == QMetaType::QString || first.canConvert<qlonglong>();
    const QString argument = first.metaType() == QMetaType::fromType<QDBusObjectPath>()
                                 ? first.value<QDBusObjectPath>().path()
                                 : (isShown ? first.toString() : QString());
    _calls.append(argument.isEmpty() ? message.member() : message.member() + u' ' + argument);
    const auto found = _behaviours.constFind(message.member());
    if (found == _behaviours.cend()) {
        connection.send(message.createErrorReply(QDBusError::UnknownMethod, u"no such method"_s));
    } else if (found->isHeld) {
        message.setDelayedReply(true);
        _held.append(message);
    } else if (found->answer) {
        connection.send(message.createReply(found->answer(message)));
    } else {
        connection.send(message.createErrorReply(found->errorName, found->errorText));
    }
    return true;
}
