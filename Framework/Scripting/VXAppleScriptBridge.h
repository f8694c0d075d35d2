#pragma once

#include "VXEventDescriptor.h"

#include <memory>

class VXScriptingTransport;

/**
 * Controls another application by events: reads and writes its properties, sends it events, asks it to quit. Each
 * operation blocks the calling thread until the target replies or the time-out passes. Failures are logged; nothing
 * throws. Any thread, and several at the same time with one bridge.
 */
class VX_EXPORT VXAppleScriptBridge
{
public:
    /** For the application with that identifier, by the process's transport. */
    static std::shared_ptr<VXAppleScriptBridge> bridgeWithIdentifier(const QString &identifier);
    explicit VXAppleScriptBridge(const QString &identifier);
    /** Uses a transport of the caller's. */
    VXAppleScriptBridge(const QString &identifier, std::shared_ptr<VXScriptingTransport> transport);
    virtual ~VXAppleScriptBridge();
    VXAppleScriptBridge(const VXAppleScriptBridge &) = delete;
    VXAppleScriptBridge &operator=(const VXAppleScriptBridge &) = delete;

    QString processIdentifier() const { return _processIdentifier; }
    /** The address of every event. */
    VXEventDescriptor processDescriptor() const;
    bool processIsRunning() const;
    /** Asks the application to quit; sends nothing if it is not running. */
    void terminateProcess();

    /** Sends an event without parameters, and ignores the reply. */
    void executeAppleEvent(VXFourCharCode eventClass, VXFourCharCode eventID);
    /** Empty when the property could not be read; then the error, here and below, says why, in the user's language. */
    std::optional<VXEventDescriptor> getAppleScriptPropertyForKeyword(VXFourCharCode property,
                                                                      VXError *error = nullptr);
    bool setAppleScriptProperty(const VXEventDescriptor &value, VXFourCharCode property, VXError *error = nullptr);

    /** Sends an event and waits for the reply, without user interaction. False, with a null reply, when the event could
     *  not be sent, or the reply is an error. */
    bool sendAppleEvent(const VXEventDescriptor &event, VXEventDescriptor *reply = nullptr, VXError *error = nullptr);
    /** Makes an event for the target, to which parameters can be added. */
    VXEventDescriptor eventForTarget(VXFourCharCode eventClass, VXFourCharCode eventID) const;

    /** Specifies a property of the target application; `property` is a type code. */
    static VXEventDescriptor descriptorForProperty(const VXEventDescriptor &property);
    /** Specifies all objects of the type whose property equals the value. */
    static VXEventDescriptor descriptorForObjectOfType(const VXEventDescriptor &type, const VXEventDescriptor &value,
                                                       const VXEventDescriptor &property);

private:
    std::shared_ptr<VXScriptingTransport> transport() const;

    const QString _processIdentifier;
    const std::shared_ptr<VXScriptingTransport> _transport; // null: the process's transport
};
