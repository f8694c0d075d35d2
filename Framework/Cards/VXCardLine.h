#pragma once

#include "VXCardLines.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>
#include <utility>

/** A property of a vCard: "GROUP.NAME;PARAMETER=VALUE:VALUE". A value type. */
struct VXCardLine
{
    /** Empty when the line is no property. `problem` then says why; it also says which part of a value could not be
     *  read properly. */
    static std::optional<VXCardLine> parse(const VXRawCardLine &raw, QString *problem);

    /** The name of a line that keeps unknown parameters of a known property; the value says which property they belong
     *  to. */
    static constexpr QLatin1StringView furtherParameters{"X-VORNIX-PARAMETERS"};
    /** The value of such a line: of several properties with one name, the property's value says which. */
    static QString mark(const QString &name, const QString &value) { return name + u' ' + value.simplified(); }

    QString group = {};
    QString name = {};                                  // in upper case
    QString header = {};                                // everything before the colon, unchanged
    QList<std::pair<QString, QString>> parameters = {}; // names in upper case; "TYPE" for a single word
    QString value = {};                                 // as text, still escaped
    QByteArray data = {};                               // of a Base64 value, decoded
    bool isData = false;

    /** The words of the parameter's values, in lower case. */
    QStringList words(const QString &parameter) const;
    /** All other parameters, unchanged, each preceded by a semicolon. */
    QString parametersBut(const QStringList &names) const;
    /** The property as a content line, for readers that do not know it: without encodings of octets, except for data.
     *  */
    QString contentLine() const;
};
