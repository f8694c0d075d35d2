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
    /** Empty when the line is none; `problem` then tells why, and also what of its value could not be read as it should. */
    static std::optional<VXCardLine> parse(const VXRawCardLine &raw, QString *problem);

    /** Begins the line that keeps of a property that is known the parameters that are not: behind them stands which property. */
    static constexpr QLatin1StringView furtherParameters{"X-VORNIX-PARAMETERS"};
    /** What stands there: of several properties of one name the value tells which. */
    static QString mark(const QString &name, const QString &value) { return name + u' ' + value.simplified(); }

    QString group = {};
    QString name = {};                                  // in upper case
    QString header = {};                                // all before the colon, as it stands
    QList<std::pair<QString, QString>> parameters = {}; // names in upper case; "TYPE" for a word alone
    QString value = {};                                 // as text, with its escapes
    QByteArray data = {};                               // of a value in Base64, decoded
    bool isData = false;

    /** The words of the parameter's values, in lower case. */
    QStringList words(const QString &parameter) const;
    /** Those of other names as they stand in a header, each behind a semicolon. */
    QString parametersBut(const QStringList &names) const;
    /** As a line again, for whoever does not know the property: without encodings of octets, but for data. */
    QString contentLine() const;
};
