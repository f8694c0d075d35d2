#include "VXFormField.h"

#include "VXNone.h"

#include <QtCore/QDebug>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// Null for none.
QString textualDescription(const QVariant &value)
{
    if (VXIsNone(value))
        return {};
    if (value.canConvert<QString>()) {
        const QString text = value.toString();
        return text.isNull() ? u""_s : text; // data without a byte
    }
    QString text; // lists, dictionaries and the like: as a debugger shows them
    QDebug(&text).nospace() << value;
    return text;
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
