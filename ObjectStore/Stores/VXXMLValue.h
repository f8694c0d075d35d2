#pragma once

#include "VXAttributeType.h"

#include <QtCore/QString>
#include <QtCore/QStringView>
#include <QtCore/QVariant>

#include <optional>

/**
 * The text that stands for an attribute's value in an XML store; null when there is none for it. It holds only characters
 * that XML can hold: in texts a backslash begins an escape of another one. Reentrant.
 */
QString VXXMLText(VXAttributeType type, const QVariant &value);

/** The value that a text stands for. @return empty when it is no value of the type. */
std::optional<QVariant> VXXMLValue(VXAttributeType type, const QString &text);
