#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** One field of a form that is posted: a text, or the contents of a file. */
struct VXFormField
{
    QString name;
    QString text;     // counts while there is no path
    QString filePath; // null for a text

    friend bool operator==(const VXFormField &, const VXFormField &) = default;
};

/**
 * The fields of a dictionary, in its order. The text is that of VXValueText, dates in UTC; one that begins with "@/" names a
 * file, if there is a regular file at that path behind the "@". A value that is none ends the list: what follows is left
 * out. Any thread.
 */
VX_EXPORT QList<VXFormField> VXFormFieldsFromDictionary(const QVariantMap &dictionary);
