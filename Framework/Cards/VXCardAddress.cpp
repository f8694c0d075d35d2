#include "VXCardAddress.h"

#include "VXCardLine.h"
#include "VXCardText.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"

#include <QtCore/QHash>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

QString labelOf(const VXCardLine &line)
{
    const QStringList words = line.words(u"TYPE"_s);
    if (words.contains(u"video"_s))
        return u"video"_s;
    return words.contains(u"msg"_s) || words.contains(u"text"_s) ? u"messaging"_s : QString();
}

bool isNumberURI(const QString &value)
{
    return value.startsWith("tel:"_L1, Qt::CaseInsensitive);
}

// The number in a URI: "tel:+1-555-0100;ext=12"
QString numberOf(const QString &value)
{
    if (!isNumberURI(value))
        return VXPhoneNumberWithoutTrunkZero(value);
    return QUrl::fromPercentEncoding(value.sliced(4).section(u';', 0, 0).toUtf8());
}

// "ext. 12"; null for none. An extension is dialled after the call is answered, and no part of the number.
QString extensionOf(const QString &value)
{
    static const QString mark = u";ext="_s;
    const qsizetype at = isNumberURI(value) ? value.indexOf(mark, 0, Qt::CaseInsensitive) : -1;
    return at < 0 ? QString() : u"ext. "_s + value.sliced(at + mark.size()).section(u';', 0, 0);
}

} // namespace

unsigned VXTypeOfCardLine(const VXCardLine &line)
{
    static const QHash<QString, unsigned> kinds = {{u"fax"_s, VXPhonebookTypeFax},
                                                   {u"cell"_s, VXPhonebookTypeMobile},
                                                   {u"mobile"_s, VXPhonebookTypeMobile},
                                                   {u"pager"_s, VXPhonebookTypePager}};
    const QStringList words = line.words(u"TYPE"_s);
    unsigned location = 0;
    unsigned kind = 0;
    for (const QString &word : words) {
        location |= word == "home"_L1 ? unsigned(VXPhonebookTypeHome) : 0U;
        location |= word == "work"_L1 ? unsigned(VXPhonebookTypeWork) : 0U;
        kind = kind == 0 ? kinds.value(word, 0) : kind; // a single value, not a set of bits
    }
    const bool isPreferred = words.contains(u"pref"_s) || line.words(u"PREF"_s).contains(u"1"_s);
    return location | (kind == 0 && isPreferred ? unsigned(VXPhonebookTypePrimary) : kind);
}

VXContactRecord::Address VXAddressOfCardLine(const VXCardLine &line)
{
    const QString text = VXUnescapedCardText(line.value).trimmed();
    const bool isNumber = line.name == "TEL"_L1;
    const QString label = isNumber ? labelOf(line) : QString();
    return {isNumber ? numberOf(text) : text, VXTypeOfCardLine(line), label.isNull() ? extensionOf(text) : label};
}

QString VXPlainCardLabel(const QString &label)
{
    const bool isWrapped = label.startsWith("_$!<"_L1) && label.endsWith(">!$_"_L1);
    return isWrapped ? label.sliced(4).chopped(4).toLower() : label;
}
