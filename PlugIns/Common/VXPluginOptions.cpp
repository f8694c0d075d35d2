#include "VXPluginOptions.h"

#include "VXNone.h"

using namespace Qt::StringLiterals;

bool VXBooleanOption(const QVariantMap &options, const QString &key, bool fallback)
{
    const QVariant value = options.value(key);
    if (VXIsNone(value))
        return fallback;
    if (value.typeId() == QMetaType::QString && value.toString().compare(u"no", Qt::CaseInsensitive) == 0)
        return false;
    return value.toBool();
}

QStringList VXListOption(const QVariantMap &options, const QString &key)
{
    const QVariant value = options.value(key);
    if (value.typeId() != QMetaType::QString)
        return value.toStringList();
    QStringList parts;
    for (const QString &part : value.toString().split(u',', Qt::SkipEmptyParts))
        parts.append(part.trimmed());
    return parts;
}
