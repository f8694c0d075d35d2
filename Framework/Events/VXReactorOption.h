#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** An option of a reactor or exporter, as it is described to those who edit options. A value type. */
struct VX_EXPORT VXReactorOption
{
    enum class Type {
        Text,
        Boolean, // also the texts "true", "yes", "1" and "false", "no", "0"
        Number,  // also as text
        List,    // of texts; also one text with commas
        File,    // the path of a file, which need not exist
        Program, // a path, or a name to be looked up
        Any,
    };

    QString key = {};
    Type type = Type::Text;
    QString meaning = {};     // in the user's language
    QStringList choices = {}; // the possible values; empty if any value is
    bool isNeeded = false;    // has no default, so the user has to set it
    QVariant standard = {};   // the default value; invalid for none

    /** The key in the form in which people see and type it: "file" for VXExporterOptionsFilePathKey. */
    QString shownKey() const;
    /** "text", "boolean", "number", "list", "file", "program", "any". */
    QString typeName() const;
    /** Why the value is not possible; null when it is. In the user's language. */
    QString problemOf(const QVariant &value) const;
};

using VXReactorOptions = QList<VXReactorOption>;
