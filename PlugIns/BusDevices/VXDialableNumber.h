#pragma once

#include "VXWrittenNumber.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

/** The number without the spaces, dots and brackets that people write. */
inline QString VXNumberWithoutWriting(const QString &number)
{
    static const QRegularExpression writing(QStringLiteral("[ \u00a0().\\-/]"));
    return QString(number).remove(writing);
}

/** The same, without an extension and the like (VXWrittenNumber); null when it is none that can be dialled. */
inline QString VXDialableNumber(const QString &number)
{
    static const QRegularExpression dialable(QStringLiteral("\\A\\+?[0-9*#]{1,40}\\z"));
    const QString bare = VXNumberWithoutWriting(VXWrittenNumber::in(number).number);
    return dialable.match(bare).hasMatch() ? bare : QString();
}
