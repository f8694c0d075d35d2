#pragma once

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QStringList>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusVirtualObject>

#include <functional>

/**
 * A service on a bus of the test's own that does what no real one can be made to do: answers late, twice, never, out of order,
 * with other types; vanishes between two calls, and comes back. A method that nobody has said anything about fails. Its answers need the event loop.
 */
class VXBusMock : public QDBusVirtualObject
{
public:
    using Answer = std::function<QVariantList(const QDBusMessage &call)>;

    /** Takes the name. */
    VXBusMock(const QByteArray &address, const QString &name);
    ~VXBusMock() override;

    // -- What it answers to "METHOD", whatever the object and interface
    void answer(const QString &method, const Answer &answer);
    void answer(const QString &method, const QVariantList &arguments = {})
    {
        answer(method, [arguments](const QDBusMessage &) { return arguments; });
    }
    void refuse(const QString &method, const QString &errorName, const QString &text = {});
    /** Keeps calls of the method, for `reply`. */
    void hold(const QString &method);

    /** The calls that it got, as "METHOD" or "METHOD FIRST-ARGUMENT". */
    const QStringList &calls() const { return _calls; }
    qsizetype count(const QString &method) const;
    void forgetCalls() { _calls.clear(); }
    /** Those that are kept, in order. */
    QList<QDBusMessage> held() const { return _held; }
    void reply(const QDBusMessage &call, const QVariantList &arguments = {});

    void emitSignal(const QString &path, const QString &interface, const QString &member,
                    const QVariantList &arguments = {});

    /** Gives the name up; what it is still sent under its own name, it answers. */
    void vanish();
    /** Takes the name again, as the same process. */
    void appear();
    /** Ends, and comes back as another process, which has forgotten what was held. */
    void restart();

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    struct Behaviour
    {
        Answer answer;
        QString errorName;
        QString errorText;
        bool isHeld = false;
    };

    void connectToBus();
    QDBusConnection connection() const { return QDBusConnection(_connectionName); }

    const QByteArray _address;
    const QString _name;
    QString _connectionName;
    QHash<QString, Behaviour> _behaviours;
    QStringList _calls;
    QList<QDBusMessage> _held;
};
