#include "VXSelectedNumber.h"

#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"

#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

QString VXNumberInText(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (VXIsValidPhoneNumber(trimmed))
        return trimmed;
    QString value;
    const bool isOneLine = !trimmed.contains(u'\n');
    if (isOneLine && trimmed.contains(u'<') && VXPhonebookStringSplit(trimmed, nullptr, &value) &&
        VXIsValidPhoneNumber(value))
        return value;
    static const QRegularExpression number(uR"(\+?[0-9](?:[ ()./-]{0,2}[0-9]){2,})"_s);
    const QRegularExpressionMatch match = number.match(trimmed);
    return match.hasMatch() ? match.captured() : QString();
}
