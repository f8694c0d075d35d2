#pragma once

#include "VXError.h"
#include "VXFourCharCode.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** A property of a target, which a code in an event stands for. */
struct VXScriptingProperty
{
    VXFourCharCode code = 0;
    QString name = {}; // the target's name for it
    QString path = {};
    QString interface = {};
    QByteArray signature = {}; // its type, as a D-Bus signature
    bool isReadable = true;
    bool isWritable = false;
    QString summary = {};
};

/** An argument of the method that an event calls. */
struct VXScriptingParameter
{
    VXFourCharCode keyword = 0; // of the event's parameter; 0 for a constant value
    QString name = {};
    QByteArray signature = {};
    QVariant value = {};  // the constant, or the default if the event lacks the parameter
    bool isNeeded = true; // there is no such value
};

/** An event that a target supports. */
struct VXScriptingEvent
{
    VXFourCharCode eventClass = 0;
    VXFourCharCode eventID = 0;
    QString name = {}; // shown to users
    QString path = {};
    QString interface = {};
    QString method = {};
    QList<VXScriptingParameter> parameters = {}; // in the order of the method's arguments
    QString summary = {};
};

/**
 * What four-character codes mean to a target, or to all targets whose identifiers have the same prefix
 * (docs/FORMATS.md). A value type.
 */
struct VX_EXPORT VXScriptingDictionary
{
    QString target = {};
    QString summary = {};
    QString source = {};     // the path of the file
    bool isFallback = false; // for targets of any name, after their own dictionaries
    QList<VXScriptingProperty> properties = {};
    QList<VXScriptingEvent> events = {}; // several with the same class and ID are tried in turn

    /** Empty, with the reason, for anything but a dictionary. */
    static std::optional<VXScriptingDictionary> fromPropertyList(const QVariant &list, VXError *error = nullptr);
    /** The same from a file; the error names it. */
    static std::optional<VXScriptingDictionary> fromFile(const QString &path, VXError *error = nullptr);

    /** 0 for targets that it does not serve; otherwise, the longer the common name, the greater. */
    qsizetype fitness(const QString &identifier) const;
    /** The path for that target: "{path}" is replaced by its identifier with slashes for dots. */
    static QString pathForTarget(const QString &path, const QString &identifier);
};

/** Whether it is a single complete type in the notation of D-Bus, such as "s", "a{sv}", "(is)". */
[[nodiscard]] VX_EXPORT bool VXIsTypeSignature(const QByteArray &signature);
