#pragma once

#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariantMap>

/** Text with attributes on parts of it (positions and lengths in UTF-16 units). A value type. */
struct VXAttributedString
{
    struct Run
    {
        qsizetype position = 0;
        qsizetype length = 0;
        QVariantMap attributes;
        bool operator==(const Run &) const = default;
    };

    QString string;
    QList<Run> runs;

    bool operator==(const VXAttributedString &) const = default;
};

Q_DECLARE_METATYPE(VXAttributedString)
