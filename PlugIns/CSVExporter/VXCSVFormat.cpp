#include "VXCSVFormat.h"

#include "VXObjectValues.h"

#include <algorithm>

namespace {

constexpr QByteArrayView byteOrderMark("\xef\xbb\xbf");

bool isDigit(char octet)
{
    return octet >= '0' && octet <= '9';
}

// What makes a number after a sign: digits, and perhaps a fraction.
bool isUnsignedNumber(QByteArrayView text)
{
    const auto point = std::find_if_not(text.begin(), text.end(), isDigit);
    if (point == text.begin() || point == text.end())
        return point != text.begin();
    const bool isPoint = *point == '.' || *point == ',';
    return isPoint && point + 1 != text.end() && std::all_of(point + 1, text.end(), isDigit);
}

// An international phone number without its plus, which may end with the letters of a type ("/Hm"), or a national one.
bool isPhoneNumber(QByteArrayView text)
{
    const auto isLetter = [](char octet) { return QByteArrayView("HWmfp!").contains(octet); };
    const qsizetype slash = text.lastIndexOf('/');
    if (slash >= 0 && std::all_of(text.begin() + slash + 1, text.end(), isLetter))
        text = text.first(slash);
    const auto isPart = [](char octet) { return isDigit(octet) || QByteArrayView(" ()-./").contains(octet); };
    return std::all_of(text.begin(), text.end(), isPart) && std::any_of(text.begin(), text.end(), isDigit);
}

// "+1 555 0100/m, 555 0101": all numbers of a contact are in one field.
bool arePhoneNumbers(QByteArrayView text)
{
    for (qsizetype start = 0; start <= text.size();) {
        const qsizetype comma = text.indexOf(", ", start);
        const qsizetype end = comma < 0 ? text.size() : comma;
        const QByteArrayView number = text.sliced(start, end - start);
        if (!isPhoneNumber(number.startsWith('+') ? number.sliced(1) : number))
            return false;
        start = end + 2;
    }
    return true;
}

// Numbers and phone numbers are excluded, since they can neither call a function nor name a cell.
bool beginsFormula(QByteArrayView text)
{
    const char first = text.front();
    if (!QByteArrayView("=+-@\t\r").contains(first))
        return false;
    const bool hasSign = first == '+' || first == '-';
    return !(hasSign && isUnsignedNumber(text.sliced(1))) && !(first == '+' && arePhoneNumbers(text));
}

} // namespace

void VXCSVFormat::appendField(QByteArray &line, const QVariant &value) const
{
    const qsizetype start = line.size();
    VXAppendValueText(line, value, writesUTC);
    if (line.size() == start)
        return;
    // Numbers may be negative; only text comes from other people.
    const bool isText = value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QStringList ||
                        value.typeId() == QMetaType::QVariantList;
    if (neutralisesFormulas && isText && beginsFormula(QByteArrayView(line).sliced(start)))
        line.insert(start, '\'');
    const auto mustBeQuoted = [](char octet) {
        return separators.contains(octet) || octet == '"' || octet == '\n' || octet == '\r';
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
            const bool isNeutral = neutralisesFormulas && field.size() > 1 && field.startsWith('\'') &&
                                   beginsFormula(QByteArrayView(field).sliced(1));
            fields.append(QString::fromUtf8(isNeutral ? field.sliced(1) : field));
            field.clear();
            if (octet != separator)
                return fields;
        }
    }
    return std::nullopt;
}

QByteArray VXCSVFormat::widened(const QByteArray &file, const QStringList &columns) const
{
    QByteArray names;
    for (const QString &column : columns) {
        names.append(separator);
        appendField(names, column);
    }
    QByteArray wide;
    wide.reserve(file.size() + file.size() / 8 + names.size());
    qsizetype headerFields = 0;
    qsizetype fields = 1;
    bool isQuoted = false;
    bool isEmpty = true; // the line so far
    const auto endLine = [&] {
        if (headerFields == 0 && !isEmpty)
            wide.append(names);
        else if (!isEmpty)
            wide.append(std::max<qsizetype>(headerFields - fields, 0) + columns.size(), separator);
        headerFields = headerFields == 0 && !isEmpty ? fields : headerFields;
        fields = 1;
        isEmpty = true;
    };
    for (qsizetype index = 0; index < file.size(); ++index) {
        const char octet = file[index];
        isQuoted = isQuoted != (octet == '"');
        const bool isEnd =
            !isQuoted && (octet == '\n' || (octet == '\r' && index + 1 < file.size() && file[index + 1] == '\n'));
        if (isEnd)
            endLine();
        else
            isEmpty = false;
        if (!isQuoted && octet == separator)
            ++fields;
        wide.append(octet);
        if (isEnd && octet == '\r')
            wide.append(file[++index]);
    }
    endLine(); // a last line without an end
    return wide;
}

QByteArray VXCSVFormat::lineEndOf(const QByteArray &bytes)
{
    const qsizetype feed = bytes.indexOf('\n');
    return feed > 0 && bytes[feed - 1] != '\r' ? QByteArray("\n") : QByteArray("\r\n");
}
