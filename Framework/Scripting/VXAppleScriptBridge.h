#pragma once

#include "VXEventDescriptor.h"

#include <memory>

class VXScriptingTransport;

/**
 * Drives another application by events: reads and writes its properties, sends it any event, asks it to quit. Each operation
 * blocks the calling thread until the target replies or the time-out passes. What fails is logged; nothing throws. Any
 * thread, several at once with one bridge.
 */
class VX_EXPORT VXAppleScriptBridge
{
public:
    /** To the application with that identifier, by the process's transport. */
    static std::shared_ptr<VXAppleScriptBridge> bridgeWithIdentifier(const QString &identifier);
    explicit VXAppleScriptBridge(const QString &identifier);
    /** By a transport of the caller's. */
    VXAppleScriptBridge(const QString &identifier, std::shared_ptr<VXScriptingTransport> transport);
    virtual ~VXAppleScriptBridge();
    VXAppleScriptBridge(const VXAppleScriptBridge &) = delete;
    VXAppleScriptBridge &operator=(const VXAppleScriptBridge &) = delete;

    QString processIdentifier() const { return _processIdentifier; }
    /** What every event is addressed with. */
    VXEventDescriptor processDescriptor() const;
    bool processIsRunning() const;
    /** Asks it to quit; nothing is sent when it does not run. */
    void terminateProcess();

    /** Sends an event without parameters, and ignores what it answers. */
    void executeAppleEvent(VXFourCharCode eventClass, VXFourCharCode eventID);
    /** Empty when it could not be read; the error tells why, for people, here and below. */
    std::optional<VXEventDescriptor> getAppleScriptPropertyForKeyword(VXFourCharCode property,
                                                                      VXError *error = nullptr);
    bool setAppleScriptProperty(const VXEventDescriptor &value, VXFourCharCode property, VXError *error = nullptr);

    /** Waits for the reply, without asking the user anything. False, with a null reply, when the event could not be sent or
     *  the reply tells of an error. */
    bool sendAppleEvent(const VXEventDescriptor &event, VXEventDescriptor *reply = nullptr, VXError *error = nullptr);
    /** An event to the target, to which parameters can be added. */
    VXEventDescriptor eventForTarget(VXFourCharCode eventClass, VXFourCharCode eventID) const;

    /** Specifies one property of the target application; `property` is a type code. */
    static VXEventDescriptor descriptorForProperty(const VXEventDescriptor &property);
    /** Specifies every object of the type whose property equals the value. */
    static VXEventDescriptor descriptorForObjectOfType(const VXEventDescriptor &type, const VXEventDescriptor &value,
                                                       const VXEventDescriptor &property);

private:
    std::shared_ptr<VXScriptingTransport> transport() const;

    const QString _processIdentifier;
    const std::shared_ptr<VXScriptingTransport> _transport; // null: the process's
};
