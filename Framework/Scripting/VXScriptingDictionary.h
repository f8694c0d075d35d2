#pragma once

#include "VXError.h"
#include "VXFourCharCode.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** A property of a target: what a code of an event stands for there. */
struct VXScriptingProperty
{
    VXFourCharCode code = 0;
    QString name = {}; // as the target knows it
    QString path = {};
    QString interface = {};
    QByteArray signature = {}; // its type, as D-Bus writes types
    bool isReadable = true;
    bool isWritable = false;
    QString summary = {};
};

/** An argument of a method that an event calls. */
struct VXScriptingParameter
{
    VXFourCharCode keyword = 0; // of the event's parameter; 0 for a value that is always the same
    QString name = {};
    QByteArray signature = {};
    QVariant value = {};  // that one; else what is passed when the event lacks the parameter
    bool isNeeded = true; // there is no such value
};

/** An event that a target understands. */
struct VXScriptingEvent
{
    VXFourCharCode eventClass = 0;
    VXFourCharCode eventID = 0;
    QString name = {}; // for people
    QString path = {};
    QString interface = {};
    QString method = {};
    QList<VXScriptingParameter> parameters = {}; // in the order of the method's arguments
    QString summary = {};
};

/**
 * What four-character codes mean to a target, or to all whose identifiers begin like it (docs/FORMATS.md). A value type.
 */
struct VX_EXPORT VXScriptingDictionary
{
    QString target = {};
    QString summary = {};
    QString source = {};     // the file it was read from
    bool isFallback = false; // for targets of whatever name, after their own
    QList<VXScriptingProperty> properties = {};
    QList<VXScriptingEvent> events = {}; // several of one class and id are tried in turn

    /** Empty with the reason for what is no dictionary. */
    static std::optional<VXScriptingDictionary> fromPropertyList(const QVariant &list, VXError *error = nullptr);
    /** The same from a file; the error names it. */
    static std::optional<VXScriptingDictionary> fromFile(const QString &path, VXError *error = nullptr);

    /** 0 for targets it does not serve; else the longer the name it has in common, the better. */
    qsizetype fitness(const QString &identifier) const;
    /** A path as it is for that target: "{path}" stands for its identifier with slashes for dots. */
    static QString pathForTarget(const QString &path, const QString &identifier);
};

/** True for one complete type in D-Bus' writing, as "s", "a{sv}", "(is)". */
[[nodiscard]] VX_EXPORT bool VXIsTypeSignature(const QByteArray &signature);
