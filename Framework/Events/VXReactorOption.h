#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** An option of a reactor or exporter, as it describes it to who edits its options. A value type. */
struct VX_EXPORT VXReactorOption
{
    enum class Type {
        Text,
        Boolean, // also the texts "true", "yes", "1" and "false", "no", "0"
        Number,  // also as text
        List,    // of texts; also one text with commas
        File,    // the path of a file, which need not be there
        Program, // a path, or a name to be looked up
        Any,
    };

    QString key = {};
    Type type = Type::Text;
    QString meaning = {};     // in the user's language
    QStringList choices = {}; // the values that there are; any without
    bool isNeeded = false;    // there is no value that holds without the user's
    QVariant standard = {};   // the value that holds without the user's; invalid for none

    /** The key as people see and type it: "file" for VXExporterOptionsFilePathKey. */
    QString shownKey() const;
    /** "text", "boolean", "number", "list", "file", "program", "any". */
    QString typeName() const;
    /** Why the value cannot be one; null when it can. In the user's language. */
    QString problemOf(const QVariant &value) const;
};

using VXReactorOptions = QList<VXReactorOption>;
