#include "VXTextWithoutPasswords.h"

#include <QtCore/QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

// Matches "scheme://user:password@" up to the last "@" before the path.
QString VXTextWithoutPasswords(const QString &text)
{
    static const QRegularExpression password(uR"(\b([A-Za-z][A-Za-z0-9+.-]*://[^\s/?#:@]*):[^\s/?#]*@)"_s);
    return QString(text).replace(password, u"\\1@"_s);
}

QVariant VXValueWithoutPasswords(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString && !value.toString().isNull())
        return VXTextWithoutPasswords(value.toString());
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList) {
        QVariantList list = value.toList();
        std::ranges::transform(list, list.begin(), VXValueWithoutPasswords);
        return list;
    }
    if (value.typeId() != QMetaType::QVariantMap)
        return value;
    QVariantMap map = value.toMap();
    for (QVariant &each : map)
        each = VXValueWithoutPasswords(each);
    return map;
}
