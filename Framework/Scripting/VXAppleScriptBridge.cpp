#include "VXAppleScriptBridge.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXScriptingTransport.h"

#include <utility>

using namespace Qt::StringLiterals;
using Code = VXEventCode;

namespace {

VXEventDescriptor propertySpecifier(const VXEventDescriptor &property, const VXEventDescriptor &container)
{
    VXEventDescriptor record = VXEventDescriptor::record();
    record.setDescriptor(VXEventDescriptor::withEnumCode(Code::FormProperty), Code::KeyForm);
    record.setDescriptor(VXEventDescriptor::withTypeCode(Code::FormProperty), Code::DesiredClass);
    record.setDescriptor(property, Code::KeyData);
    record.setDescriptor(container, Code::Container);
    return *record.coerceToType(Code::ObjectSpecifier);
}

// The error in a reply: its text, or its number.
std::optional<VXEventDescriptor> errorIn(const VXEventDescriptor &reply)
{
    if (auto text = reply.descriptorForKeyword(Code::ErrorString); text && !text->stringValue().isEmpty())
        return text;
    if (auto number = reply.descriptorForKeyword(Code::ErrorNumber); number && number->integerValue().value_or(0) != 0)
        return number;
    return std::nullopt;
}

QString textOfStatus(qint32 status)
{
    switch (status) {
    case VXScriptingTargetNotRunning:
        return u"%1 is not running."_s;
    case VXScriptingTimeOut:
        return u"%1 did not answer in time."_s;
    default:
        return u"%1 could not be reached."_s;
    }
}

VXError errorOfTarget(const QString &text, const QString &target)
{
    return {VXErrorDomain, VXErrorCouldNotExecute, {{VXLocalizedDescriptionKey, VXLocalizedString(text).arg(target)}}};
}

} // namespace

std::shared_ptr<VXAppleScriptBridge> VXAppleScriptBridge::bridgeWithIdentifier(const QString &identifier)
{
    return std::make_shared<VXAppleScriptBridge>(identifier);
}

VXAppleScriptBridge::VXAppleScriptBridge(const QString &identifier) : VXAppleScriptBridge(identifier, nullptr) {}

VXAppleScriptBridge::VXAppleScriptBridge(const QString &identifier, std::shared_ptr<VXScriptingTransport> transport)
    : _processIdentifier(identifier), _transport(std::move(transport))
{
}

VXAppleScriptBridge::~VXAppleScriptBridge() = default;

std::shared_ptr<VXScriptingTransport> VXAppleScriptBridge::transport() const
{
    return _transport ? _transport : VXScriptingTransport::sharedTransport();
}

VXEventDescriptor VXAppleScriptBridge::processDescriptor() const
{
    return VXEventDescriptor::withData(Code::BundleIdentifier, _processIdentifier.toUtf8());
}

bool VXAppleScriptBridge::processIsRunning() const
{
    return transport()->pidForApplicationWithIdentifier(_processIdentifier) != 0;
}

void VXAppleScriptBridge::terminateProcess()
{
    if (processIsRunning())
        executeAppleEvent(Code::RequiredSuite, Code::Quit);
}

VXEventDescriptor VXAppleScriptBridge::eventForTarget(VXFourCharCode eventClass, VXFourCharCode eventID) const
{
    return VXEventDescriptor::event(eventClass, eventID, processDescriptor());
}

void VXAppleScriptBridge::executeAppleEvent(VXFourCharCode eventClass, VXFourCharCode eventID)
{
    sendAppleEvent(eventForTarget(eventClass, eventID));
}

std::optional<VXEventDescriptor> VXAppleScriptBridge::getAppleScriptPropertyForKeyword(VXFourCharCode property,
                                                                                       VXError *error)
{
    VXEventDescriptor event = eventForTarget(Code::CoreSuite, Code::GetData);
    event.setDescriptor(descriptorForProperty(VXEventDescriptor::withTypeCode(property)), Code::DirectObject);
    VXEventDescriptor reply;
    if (!sendAppleEvent(event, &reply, error))
        return std::nullopt;
    const std::optional<VXEventDescriptor> value = reply.descriptorAtIndex(1);
    if (!value)
        VXSetError(error, errorOfTarget(u"%1 answered nothing."_s, _processIdentifier));
    return value;
}

bool VXAppleScriptBridge::setAppleScriptProperty(const VXEventDescriptor &value, VXFourCharCode property,
                                                 VXError *error)
{
    VXEventDescriptor event = eventForTarget(Code::CoreSuite, Code::SetData);
    event.setDescriptor(descriptorForProperty(VXEventDescriptor::withTypeCode(property)), Code::DirectObject);
    event.setDescriptor(value, Code::Data);
    return sendAppleEvent(event, nullptr, error);
}

bool VXAppleScriptBridge::sendAppleEvent(const VXEventDescriptor &event, VXEventDescriptor *reply, VXError *error)
{
    if (reply != nullptr)
        *reply = {};
    VXEventDescriptor answer;
    const qint32 status = transport()->sendMessage(event, &answer, VXScriptingWaitReply + VXScriptingNeverInteract,
                                                   VXScriptingDefaultTimeOut);
    if (status != VXScriptingDone) {
        VXLogMethod(status == VXScriptingTargetNotRunning ? VXLogDebug : VXLogError,
                    "sendAppleEvent:result:", u"%1: AESendMessage: %2"_s.arg(_processIdentifier).arg(status));
        VXSetError(error, errorOfTarget(textOfStatus(status), _processIdentifier));
        return false;
    }
    if (const std::optional<VXEventDescriptor> problem = errorIn(answer)) {
        VXLogMethod(VXLogError, "sendAppleEvent:result:",
                    u"%1: returned error: %2"_s.arg(_processIdentifier, problem->stringValue()));
        VXSetError(error, VXError(VXErrorDomain, VXErrorTextOnly,
                                  {{VXLocalizedDescriptionKey, VXLocalizedString(u"%1 reported an error: %2"_s)
                                                                   .arg(_processIdentifier, problem->stringValue())}}));
        return false;
    }
    if (reply != nullptr)
        *reply = std::move(answer);
    return true;
}

VXEventDescriptor VXAppleScriptBridge::descriptorForProperty(const VXEventDescriptor &property)
{
    return propertySpecifier(property, {});
}

VXEventDescriptor VXAppleScriptBridge::descriptorForObjectOfType(const VXEventDescriptor &type,
                                                                 const VXEventDescriptor &value,
                                                                 const VXEventDescriptor &property)
{
    VXEventDescriptor comparison = VXEventDescriptor::record();
    comparison.setDescriptor(VXEventDescriptor::withEnumCode(Code::Equals), Code::CompareOperator);
    comparison.setDescriptor(propertySpecifier(property, VXEventDescriptor::withData(Code::ExaminedObject, {})),
                             Code::FirstObject);
    comparison.setDescriptor(value, Code::SecondObject);

    VXEventDescriptor record = VXEventDescriptor::record();
    record.setDescriptor(VXEventDescriptor::withEnumCode(Code::FormTest), Code::KeyForm);
    record.setDescriptor(type, Code::DesiredClass);
    record.setDescriptor({}, Code::Container);
    record.setDescriptor(*comparison.coerceToType(Code::Comparison), Code::KeyData);
    return *record.coerceToType(Code::ObjectSpecifier);
}
