// Any bytes: reading ends with a table or an error, and a table written in each form reads back the same.

#include "VXFuzzing.h"
#include "VXPropertyList.h"
#include "VXStringsTable.h"

#include <QtCore/QStringConverter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The text with every third character as an escape, so that both ways are gone.
QString quoted(const QString &text)
{
    QString result = u"\""_s;
    for (qsizetype index = 0; index < text.size(); ++index) {
        const QChar c = text[index];
        if (index % 3 == 0)
            result += u"\\U%1"_s.arg(uint(c.unicode()), 4, 16, QChar(u'0'));
        else if (c.isSurrogate())
            result += u"\\u%1"_s.arg(uint(c.unicode()), 4, 16, QChar(u'0'));
        else if (c == u'"' || c == u'\\')
            result += u'\\' + QString(c);
        else
            result += c;
    }
    return result + u'"';
}

void checkTextForm(const VXStringsTable::Table &table)
{
    QString text = u"/* all */\n"_s;
    for (auto entry = table.cbegin(); entry != table.cend(); ++entry)
        text += quoted(entry.key()) + u" = "_s + quoted(entry.value()) + u";\n"_s;
    for (const auto encoding : {QStringConverter::Utf8, QStringConverter::Utf16LE, QStringConverter::Utf16BE})
        require(VXStringsTable::fromData(QStringEncoder(encoding)(text)) == table);
}

void checkPropertyListForm(const VXStringsTable::Table &table)
{
    QVariantMap entries;
    for (auto entry = table.cbegin(); entry != table.cend(); ++entry)
        entries.insert(entry.key(), entry.value());
    for (const auto format : {VXPropertyList::Format::XML, VXPropertyList::Format::Binary}) {
        const QByteArray data = VXPropertyList::toData(entries, format);
        require(data.isNull() || VXStringsTable::fromData(data) == table);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    VXError error;
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto table = VXStringsTable::fromData(bytes, &error);
    require(table.has_value() != bool(error));
    if (!table)
        return 0;
    const auto hasNull = [](const QString &text) { return text.contains(QChar::Null); };
    if (std::none_of(table->keyBegin(), table->keyEnd(), hasNull) &&
        std::none_of(table->begin(), table->end(), hasNull))
        checkTextForm(*table);
    checkPropertyListForm(*table);
    return 0;
}
