#include "VXDBusTransport.h"

#include "VXDBusValue.h"
#include "VXMainThread.h"
#include "VXScriptingDictionaries.h"
#include "VXScriptingService.h"
#include "VXSessionBus.h"

#include <QtDBus/QDBusError>
#include <QtDBus/QDBusVariant>

#include <atomic>
#include <utility>

using namespace Qt::StringLiterals;
using Code = VXEventCode;

namespace {

const QString busName = u"org.freedesktop.DBus"_s;
const QString propertiesInterface = u"org.freedesktop.DBus.Properties"_s;

// What the other side, or the bus, says went wrong.
qint32 errorNumber(const QString &name)
{
    static const QHash<QString, qint32> numbers = [] {
        const std::pair<const char *, qint32> table[] = {
            {"UnknownMethod", VXScriptingEventNotHandled},
            {"UnknownInterface", VXScriptingEventNotHandled},
            {"UnknownObject", VXScriptingEventNotHandled},
            {"NotSupported", VXScriptingEventNotHandled},
            {"UnknownProperty", VXScriptingNoSuchObject},
            {"InvalidArgs", VXScriptingCoercionFailed},
            {"InvalidSignature", VXScriptingCoercionFailed},
            {"AccessDenied", VXScriptingNotPermitted},
            {"AuthFailed", VXScriptingNotPermitted},
            {"PropertyReadOnly", VXScriptingNotPermitted},
            {"InteractiveAuthorizationRequired", VXScriptingNotPermitted},
        };
        QHash<QString, qint32> made;
        for (const auto &[last, number] : table)
            made.insert("org.freedesktop.DBus.Error."_L1 + QLatin1StringView(last), number);
        return made;
    }();
    return numbers.value(name, VXScriptingEventFailed);
}

// Why an event could not be delivered; VXScriptingDone for an error that the target itself answered.
qint32 deliveryStatus(const QDBusMessage &error)
{
    const bool isOurs = error.service().isEmpty();
    if (!isOurs && error.service() != busName)
        return VXScriptingDone;
    switch (QDBusError(error).type()) {
    case QDBusError::ServiceUnknown:
        return VXScriptingTargetNotRunning;
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
        return isOurs ? VXScriptingTimeOut : VXScriptingConnectionInvalid; // the bus tells so when the target ended
    case QDBusError::Disconnected:
    case QDBusError::NoServer:
    case QDBusError::NoNetwork:
        return VXScriptingConnectionInvalid;
    default:
        return error.errorName() == "org.freedesktop.DBus.Error.NameHasNoOwner"_L1 ? VXScriptingTargetNotRunning
                                                                                   : VXScriptingDone;
    }
}

bool isBusName(const QString &name)
{
    const QStringList elements = name.split(u'.');
    if (elements.size() < 2 || name.size() > 255)
        return false;
    return std::ranges::all_of(elements, [](const QString &element) {
        return !element.isEmpty() && !element[0].isDigit() && std::ranges::all_of(element, [](QChar c) {
            return c == u'_' || c == u'-' || (c.unicode() < 128 && c.isLetterOrNumber());
        });
    });
}

VXEventDescriptor errorReply(const VXEventDescriptor &event, qint32 number, const QString &text)
{
    VXEventDescriptor reply = VXEventDescriptor::replyTo(event);
    reply.setDescriptor(VXEventDescriptor::withInteger(number), Code::ErrorNumber);
    reply.setDescriptor(VXEventDescriptor::withString(text), Code::ErrorString);
    return reply;
}

VXEventDescriptor replyWithArguments(const VXEventDescriptor &event, const QVariantList &arguments)
{
    VXEventDescriptor reply = VXEventDescriptor::replyTo(event);
    if (arguments.isEmpty())
        return reply;
    const QVariant direct = arguments.size() == 1 ? arguments.first() : QVariant(arguments);
    reply.setDescriptor(VXEventDescriptor::fromValue(VXPlainDBusValue(direct)), Code::DirectObject);
    return reply;
}

} // namespace

/** A connection to the session bus; copies of it stay usable while somebody holds this. */
class VXDBusTransport::Link
{
public:
    Link()
        : _name(nextName()), _problem(VXProblemOfSessionBus()),
          _connection(_problem.isNull() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, _name)
                                        : QDBusConnection(_name)) // none
    {
        if (_problem.isNull() && !_connection.isConnected())
            _problem = u"there is no D-Bus session bus (%1)"_s.arg(_connection.lastError().message());
    }
    ~Link() { QDBusConnection::disconnectFromBus(_name); }
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;

    const QDBusConnection &connection() const { return _connection; }
    QString problem() const { return _problem; } // when it was made

private:
    static QString nextName()
    {
        static std::atomic<unsigned> number = 0;
        return u"vornix-scripting-%1"_s.arg(++number);
    }

    const QString _name;
    QString _problem;
    const QDBusConnection _connection;
};

/** One event on its way. */
struct VXDBusTransport::Errand
{
    const VXEventDescriptor &event;
    VXEventDescriptor *reply; // never null
    bool waits;
    int timeOut; // milliseconds
    QString target;
    std::shared_ptr<const Link> link;
};

VXDBusTransport::VXDBusTransport(std::chrono::milliseconds defaultTimeOut) : _defaultTimeOut(defaultTimeOut) {}

VXDBusTransport::~VXDBusTransport() = default;

std::shared_ptr<const VXDBusTransport::Link> VXDBusTransport::link()
{
    {
        const VXMutexLocker lock(_lock);
        if (_link && _link->connection().isConnected())
            return _link;
    }
    const auto made = std::make_shared<const Link>(); // waits for the bus
    std::shared_ptr<const Link> former;
    const VXMutexLocker lock(_lock);
    if (_link && _link->connection().isConnected()) // another thread was faster
        return _link;
    former = std::exchange(_link, made);
    return _link;
}

qint32 VXDBusTransport::sendMessage(const VXEventDescriptor &event, VXEventDescriptor *reply, qint32 sendMode,
                                    qint32 timeOut)
{
    VXEventDescriptor unwanted;
    const Errand errand{.event = event,
                        .reply = reply != nullptr ? reply : &unwanted,
                        .waits = (sendMode & VXScriptingWaitReply) == VXScriptingWaitReply,
                        .timeOut = timeOut < 0 ? int(_defaultTimeOut.count()) : timeOut,
                        .target = event.target().stringValue(),
                        .link = link()};
    *errand.reply = {};
    if (!errand.link->connection().isConnected())
        return VXScriptingConnectionInvalid;
    if (!isBusName(errand.target))
        return VXScriptingTargetNotRunning;
    if (event.eventClass() == Code::CoreSuite && event.eventID() == Code::GetData)
        return readProperty(errand);
    if (event.eventClass() == Code::CoreSuite && event.eventID() == Code::SetData)
        return writeProperty(errand);
    return callMethods(errand);
}

qint32 VXDBusTransport::call(const Errand &errand, QDBusMessage message)
{
    message.setAutoStartService(false);
    if (!errand.waits)
        return errand.link->connection().send(message) ? VXScriptingDone : VXScriptingConnectionInvalid;
    // This program serves its own scripting on the main thread, which must go on while it waits for itself.
    const bool isOwn = errand.target == VXScriptingService::busName() && VXMainThread::isCurrent();
    const QDBusMessage answer =
        errand.link->connection().call(message, isOwn ? QDBus::BlockWithGui : QDBus::Block, errand.timeOut);
    if (answer.type() == QDBusMessage::ReplyMessage) {
        *errand.reply = replyWithArguments(errand.event, answer.arguments());
        return VXScriptingDone;
    }
    if (const qint32 status = deliveryStatus(answer); status != VXScriptingDone)
        return status;
    const QString text = answer.errorMessage().trimmed();
    *errand.reply =
        errorReply(errand.event, errorNumber(answer.errorName()), text.isEmpty() ? answer.errorName() : text);
    return VXScriptingDone;
}

// What we cannot put to the target, it refuses, if it is there.
qint32 VXDBusTransport::refuse(const Errand &errand, qint32 error, const QString &text)
{
    if (pidForApplicationWithIdentifier(errand.target) == 0)
        return VXScriptingTargetNotRunning;
    *errand.reply = errorReply(errand.event, error, text);
    return VXScriptingDone;
}

// -- Properties

std::optional<VXScriptingProperty> VXDBusTransport::specifiedProperty(const Errand &errand, QString *problem) const
{
    const auto specifier = errand.event.descriptorForKeyword(Code::DirectObject);
    const auto part = [&specifier](VXFourCharCode keyword) {
        return specifier->descriptorForKeyword(keyword).value_or(VXEventDescriptor());
    };
    const bool isProperty = specifier && specifier->type() == Code::ObjectSpecifier &&
                            part(Code::KeyForm).codeValue() == Code::FormProperty && part(Code::Container).isNull();
    if (!isProperty) {
        *problem = u"only properties of the application itself can be reached"_s;
        return std::nullopt;
    }
    const VXFourCharCode code = part(Code::KeyData).codeValue();
    auto property = VXScriptingDictionaries::shared().property(errand.target, code);
    if (!property)
        *problem = u"no scripting dictionary of it has the property \"%1\""_s.arg(VXStringFromCode(code));
    return property;
}

qint32 VXDBusTransport::readProperty(const Errand &errand)
{
    QString problem;
    const auto property = specifiedProperty(errand, &problem);
    if (!property)
        return refuse(errand, VXScriptingNoSuchObject, problem);
    QDBusMessage message = QDBusMessage::createMethodCall(
        errand.target, VXScriptingDictionary::pathForTarget(property->path, errand.target), propertiesInterface,
        u"Get"_s);
    message << property->interface << property->name;
    return call(errand, message);
}

qint32 VXDBusTransport::writeProperty(const Errand &errand)
{
    QString problem;
    const auto property = specifiedProperty(errand, &problem);
    if (!property)
        return refuse(errand, VXScriptingNoSuchObject, problem);
    const auto data = errand.event.descriptorForKeyword(Code::Data);
    if (!data)
        return refuse(errand, VXScriptingParameterMissing, u"there is no value to set"_s);
    const std::optional<QVariant> value = VXDBusArgument(*data, property->signature);
    if (!value)
        return refuse(
            errand, VXScriptingCoercionFailed,
            u"%1 takes a value of the type \"%2\""_s.arg(property->name, QString::fromLatin1(property->signature)));
    QDBusMessage message = QDBusMessage::createMethodCall(
        errand.target, VXScriptingDictionary::pathForTarget(property->path, errand.target), propertiesInterface,
        u"Set"_s);
    const QVariant variant =
        value->metaType() == QMetaType::fromType<QDBusVariant>() ? *value : QVariant::fromValue(QDBusVariant(*value));
    message << property->interface << property->name << variant;
    return call(errand, message);
}

// -- Other events

qint32 VXDBusTransport::callMethods(const Errand &errand)
{
    const VXEventDescriptor &event = errand.event;
    const QString code = u"%1/%2"_s.arg(VXStringFromCode(event.eventClass()), VXStringFromCode(event.eventID()));
    const QList<VXScriptingEvent> methods =
        VXScriptingDictionaries::shared().events(errand.target, event.eventClass(), event.eventID());
    if (methods.isEmpty())
        return refuse(errand, VXScriptingEventNotHandled,
                      u"no scripting dictionary of it has the event %1"_s.arg(code));
    for (const VXScriptingEvent &method : methods) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            errand.target, VXScriptingDictionary::pathForTarget(method.path, errand.target), method.interface,
            method.method);
        for (const VXScriptingParameter &parameter : method.parameters) {
            const auto given = parameter.keyword == 0 ? std::nullopt : event.descriptorForKeyword(parameter.keyword);
            if (!given && parameter.isNeeded)
                return refuse(errand, VXScriptingParameterMissing,
                              u"%1 needs the parameter \"%2\" (%3)"_s.arg(
                                  method.name, VXStringFromCode(parameter.keyword), parameter.name));
            const VXEventDescriptor value = given ? *given : VXEventDescriptor::fromValue(parameter.value);
            const std::optional<QVariant> argument = VXDBusArgument(value, parameter.signature);
            if (!argument)
                return refuse(errand, VXScriptingCoercionFailed,
                              u"the parameter \"%1\" (%2) of %3 is of the type \"%4\""_s.arg(
                                  VXStringFromCode(parameter.keyword), parameter.name, method.name,
                                  QString::fromLatin1(parameter.signature)));
            message << *argument;
        }
        const qint32 status = call(errand, message);
        const bool isUnknown =
            status == VXScriptingDone &&
            errand.reply->descriptorForKeyword(Code::ErrorNumber).value_or(VXEventDescriptor()).integerValue() ==
                VXScriptingEventNotHandled;
        if (!isUnknown)
            return status;
    }
    if (methods.size() > 1) // what the last one was about tells nobody anything
        *errand.reply = errorReply(event, VXScriptingEventNotHandled,
                                   u"it understands no way of %1 that is known here"_s.arg(methods.first().name));
    return VXScriptingDone;
}

// -- Who runs

QString VXDBusTransport::problem()
{
    return link()->problem();
}

QDBusMessage VXDBusTransport::callBus(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(busName, u"/org/freedesktop/DBus"_s, busName, method);
    message.setArguments(arguments);
    return link()->connection().call(message, QDBus::Block, int(_defaultTimeOut.count()));
}

qint64 VXDBusTransport::pidForApplicationWithIdentifier(const QString &identifier)
{
    if (!isBusName(identifier))
        return 0;
    const QDBusMessage answer = callBus(u"GetConnectionUnixProcessID"_s, {identifier});
    return answer.type() == QDBusMessage::ReplyMessage ? answer.arguments().value(0).toLongLong() : 0;
}

QStringList VXDBusTransport::runningIdentifiers(const QString &prefix)
{
    QStringList names = callBus(u"ListNames"_s, {}).arguments().value(0).toStringList();
    names.removeIf([&prefix](const QString &name) { return name.startsWith(u':') || !name.startsWith(prefix); });
    names.sort();
    return names;
}
