#include "VXFormField.h"

#include "VXNone.h"
#include "VXValueText.h"

#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// Null for none; any value has a text.
QString textualDescription(const QVariant &value)
{
    if (VXIsNone(value))
        return {};
    const QString text = VXValueText(value, true);
    return text.isNull() ? u""_s : text;
}

} // namespace

QList<VXFormField> VXFormFieldsFromDictionary(const QVariantMap &dictionary)
{
    QList<VXFormField> fields;
    for (const auto &[name, value] : dictionary.asKeyValueRange()) {
        const QString text = textualDescription(value);
        if (text.isNull())
            break;
        const QString path = text.mid(1);
        const bool isFile = text.startsWith("@/"_L1) && QFileInfo(path).isFile();
        fields.append({.name = name, .text = text, .filePath = isFile ? path : QString()});
    }
    return fields;
}
