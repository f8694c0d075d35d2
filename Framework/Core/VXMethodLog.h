#pragma once

#include "VXFrameworkExport.h"
#include "VXLog.h"
#include "VXUserDefaults.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <type_traits>
#include <typeinfo>

/**
 * A category of debug traces with a four-letter tag, written only while the boolean user default "debug." + tag is
 * true. The check costs one atomic load. Any thread.
 */
class VX_EXPORT VXDebugCategory
{
public:
    explicit VXDebugCategory(const QString &tag);

    QString tag() const { return _tag; }
    bool isEnabled() const { return _switch.isOn(); }

    /** Phonebook store changes, plugins, search-metadata files, events. Made on first use, never freed. */
    static const VXDebugCategory &PHBK();
    static const VXDebugCategory &PLUG();
    static const VXDebugCategory &META();
    static const VXDebugCategory &EVNT();

private:
    const QString _tag;
    const VXLiveSwitch _switch;
};

/**
 * The origin of a log line: the address of the object (or class), whether it is an instance or class operation, the
 * class name, and the operation.
 */
struct VXLogOrigin
{
    const void *address;
    char kind; // '-' for an instance operation, '+' for a class operation
    QString className;
    const char *operation; // for example "loadPlugins" or "postEventWithName:subtype:object:"
};

/** "-[VXPluginManager loadPlugins]" */
VX_EXPORT QString VXMethodDescriptor(const VXLogOrigin &origin);

/** Logs "0xADDRESS -[Class operation] text". */
VX_EXPORT void VXLogFrom(const VXLogOrigin &origin, unsigned level, const QString &text);
/** Logs "[TAG] 0xADDRESS -[Class operation] text" at the debug level, whether or not the category is on. */
VX_EXPORT void VXTraceFrom(const VXLogOrigin &origin, const VXDebugCategory &category, const QString &text);

/** The class name of a type that is no QObject, without namespaces. */
VX_EXPORT QString VXClassName(const std::type_info &type);

/** The origin of a line logged by an instance; its class is the object's own, not the one declaring the operation. */
template <class T>
VXLogOrigin VXInstanceOrigin(const T *self, const char *operation)
{
    if constexpr (std::is_base_of_v<QObject, T>)
        return {self, '-', QString::fromLatin1(self->metaObject()->className()), operation};
    else
        return {self, '-', VXClassName(typeid(*self)), operation};
}

/** The origin of a line logged by a class operation. */
template <class T>
VXLogOrigin VXClassOrigin(const char *operation)
{
    return {&typeid(T), '+', VXClassName(typeid(T)), operation};
}

/** For instance operations: logs the text with the method's prefix. */
#define VXLogMethod(level, operation, text) VXLogFrom(VXInstanceOrigin(this, operation), level, text)

/** For class operations: the same. */
#define VXLogClassMethod(level, Class, operation, text) VXLogFrom(VXClassOrigin<Class>(operation), level, text)

/** For instance operations: a trace. The text is not composed while the category is off. */
#define VXTraceMethod(category, operation, text)                                                                       \
    do {                                                                                                               \
        if (Q_UNLIKELY((category).isEnabled()))                                                                        \
            VXTraceFrom(VXInstanceOrigin(this, operation), category, text);                                            \
    } while (false)
