#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** A field of a form that is posted: a text, or the contents of a file. */
struct VXFormField
{
    QString name;
    QString text;     // used if there is no path
    QString filePath; // null for a text

    friend bool operator==(const VXFormField &, const VXFormField &) = default;
};

/**
 * The fields of a dictionary, in its order. The text is that of VXValueText, with dates in UTC; a text that begins with
 * "@/" names a file, if there is a regular file at the path after the "@". A value that is none ends the list: it and
 * everything after it is left out. Any thread.
 */
VX_EXPORT QList<VXFormField> VXFormFieldsFromDictionary(const QVariantMap &dictionary);
