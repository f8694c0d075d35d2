#include "VXCSVFormat.h"

#include "VXObjectValues.h"

#include <algorithm>

namespace {

constexpr QByteArrayView byteOrderMark("\xef\xbb\xbf");

bool beginsFormula(QByteArrayView text)
{
    return QByteArrayView("=+-@\t\r").contains(text.front());
}

} // namespace

void VXCSVFormat::appendField(QByteArray &line, const QVariant &value) const
{
    const qsizetype start = line.size();
    VXAppendValueText(line, value, writesUTC);
    if (line.size() == start)
        return;
    // Numbers may be negative; only texts are somebody else's words.
    const bool isText = value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QStringList ||
                        value.typeId() == QMetaType::QVariantList;
    if (neutralisesFormulas && isText && beginsFormula(QByteArrayView(line).sliced(start)))
        line.insert(start, '\'');
    const auto mustBeQuoted = [this](char octet) {
        return octet == separator || octet == '"' || octet == '\n' || octet == '\r';
    };
    const bool hasOuterBlanks = line[start] == ' ' || line.back() == ' ';
    if (!hasOuterBlanks && std::none_of(line.cbegin() + start, line.cend(), mustBeQuoted))
        return;
    QByteArray text = line.sliced(start);
    line.truncate(start);
    line.append('"').append(text.replace('"', "\"\"")).append('"');
}

std::optional<QStringList> VXCSVFormat::header(const QByteArray &bytes) const
{
    QStringList fields;
    QByteArray field;
    bool isQuoted = false;
    const bool hasMark = bytes.startsWith(byteOrderMark);
    for (qsizetype index = hasMark ? byteOrderMark.size() : 0; index < bytes.size(); ++index) {
        const char octet = bytes[index];
        if (octet == '"' && isQuoted && index + 1 < bytes.size() && bytes[index + 1] == '"') {
            field.append(octet);
            ++index;
        } else if (octet == '"') {
            isQuoted = !isQuoted;
        } else if (isQuoted || (octet != separator && octet != '\r' && octet != '\n')) {
            field.append(octet);
        } else {
            fields.append(QString::fromUtf8(field));
            field.clear();
            if (octet != separator)
                return fields;
        }
    }
    return std::nullopt;
}

QByteArray VXCSVFormat::lineEndOf(const QByteArray &bytes)
{
    const qsizetype feed = bytes.indexOf('\n');
    return feed > 0 && bytes[feed - 1] != '\r' ? QByteArray("\n") : QByteArray("\r\n");
}
