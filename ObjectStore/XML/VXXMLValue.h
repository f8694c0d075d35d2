#pragma once

#include "VXAttributeType.h"

#include <QtCore/QString>
#include <QtCore/QStringView>
#include <QtCore/QVariant>

#include <optional>

/**
 * The text for an attribute's value in an XML store; null when there is none. It contains only characters allowed in
 * XML; other characters of texts are escaped with a backslash. Reentrant.
 */
QString VXXMLText(VXAttributeType type, const QVariant &value);

/** The value for a text. @return empty when the text is no value of the type. */
std::optional<QVariant> VXXMLValue(VXAttributeType type, const QString &text);
