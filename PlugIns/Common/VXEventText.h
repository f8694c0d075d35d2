#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/** An event as its reactors see it: `subtype` null and `object` invalid for none. */
struct VXEvent
{
    QString name;
    QString subtype;
    QVariant object;
};

/**
 * The text with "{event}", "{subtype}" and "{KEYPATH}", any value of the object, replaced; by nothing where there is none.
 * "{{" stands for "{". What is replaced is not looked at again.
 */
QString VXEventText(const QString &text, const VXEvent &event);
