#include "VXPastedAddresses.h"

#include "VXCardReader.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"

#include <QtCore/QBuffer>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isMobile(const VXContactRecord::Address &address)
{
    return (address.type & VXPhonebookTypeKindMask) == VXPhonebookTypeMobile;
}

QStringList addressesOfCards(const QString &text)
{
    QBuffer buffer;
    buffer.setData(text.toUtf8());
    static_cast<void>(buffer.open(QIODevice::ReadOnly));
    VXCardReader reader(buffer);
    QStringList found;
    while (const auto card = reader.next()) {
        const VXContactRecord &contact = card->contact;
        const QList<VXContactRecord::Address> &from = contact.numbers.isEmpty() ? contact.emails : contact.numbers;
        if (from.isEmpty())
            continue;
        const auto best = std::find_if(from.cbegin(), from.cend(), isMobile);
        const VXContactRecord::Address &address = best == from.cend() ? from.first() : *best;
        found.append(VXPhonebookStringJoin(contact.displayName(), address.value, address.type));
    }
    return found;
}

// The addresses of a link; null when the text is no link.
QString addressesOfLink(const QString &text)
{
    static const QRegularExpression link(u"^(?:tel|sms|smsto|callto|messageto|mailto):(?://)?([^?]*)"_s,
                                         QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression parameter(u";[a-z-]+=[^,]*"_s, QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = link.match(text);
    if (!match.hasMatch())
        return {};
    return QUrl::fromPercentEncoding(match.captured(1).toUtf8()).remove(parameter);
}

// Splits "a; b" except within brackets, braces and escapes.
QStringList partsBetweenSemicolons(const QString &text)
{
    QStringList parts{QString()};
    int depth = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == u'\\' && i + 1 < text.size()) {
            parts.last() += c;
            parts.last() += text.at(++i);
            continue;
        }
        if (c == u'<' || c == u'{')
            ++depth;
        else if (c == u'>' || c == u'}')
            depth = std::max(0, depth - 1);
        if (c == u';' && depth == 0)
            parts.append(QString());
        else
            parts.last() += c;
    }
    return parts;
}

QString withoutQuotes(const QString &item)
{
    static const QRegularExpression quoted(u"^\"([^\"]*)\"\\s*(<[^>]*>)$"_s);
    const QRegularExpressionMatch match = quoted.match(item);
    if (!match.hasMatch())
        return item;
    QString value;
    unsigned type = 0;
    static_cast<void>(VXPhonebookStringSplit(match.captured(2), nullptr, &value, &type));
    return VXPhonebookStringJoin(match.captured(1).trimmed(), value, type);
}

} // namespace

QStringList VXAddressesFromPastedText(const QString &text)
{
    if (text.contains("BEGIN:VCARD"_L1, Qt::CaseInsensitive))
        return addressesOfCards(text);
    static const QRegularExpression lineEnds(u"[\\t\\r\\n\\x{2028}\\x{2029}]+"_s);
    QStringList found;
    for (const QString &line : text.split(lineEnds, Qt::SkipEmptyParts)) {
        const QString linked = addressesOfLink(line.trimmed());
        for (const QString &part : partsBetweenSemicolons(linked.isNull() ? line : linked)) {
            // A comma within a quoted name is no separator.
            const QString item = withoutQuotes(part.trimmed());
            found += item == part.trimmed() ? VXUnpackPhonebookStrings(part, false) : QStringList{item};
        }
    }
    for (QString &item : found)
        item = withoutQuotes(item);
    return found;
}
