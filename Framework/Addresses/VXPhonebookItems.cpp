#include "VXPhonebookItems.h"

#include "VXCharacterSet.h"
#include "VXPhonebookStringParts.h"

#include <QtCore/QStringBuilder>

using namespace Qt::StringLiterals;

QString VXPhonebookItem::toString() const
{
    return nameStart.isNull() ? text.toString() : nameStart % ", "_L1 % text;
}

void VXPhonebookItems::appendPiece(QStringView piece)
{
    piece = piece.trimmed();
    if (piece.isEmpty())
        return;
    const auto parts = VXPhonebookStringParts::split(piece);
    if (_lastHasNoAddress && parts.isAddress && !parts.name.isNull())
        _items.back() = {.text = piece, .nameStart = _items.back().text};
    else
        _items.push_back({.text = piece, .nameStart = {}});
    _lastHasNoAddress = !parts.isAddress;
}

void VXPhonebookItems::appendWhole(QStringView item)
{
    _items.push_back({.text = item, .nameStart = {}});
    _lastHasNoAddress = false;
}

void VXPhonebookItems::appendMembers(QStringView body)
{
    _lastHasNoAddress = false;
    const VXCharacterSet &delimiters = VXCharacterSet::groupDelimiterCharacterSet();
    qsizetype start = 0;
    for (qsizetype index = 0; index < body.size(); ++index) {
        if (delimiters.characterIsMember(body[index].unicode())) {
            appendPiece(body.sliced(start, index - start));
            start = index + 1;
        }
    }
    appendPiece(body.sliced(start));
    _lastHasNoAddress = false;
}

QStringList VXPhonebookItems::toStringList() const
{
    QStringList texts;
    texts.reserve(count());
    for (const VXPhonebookItem &item : _items)
        texts += item.toString();
    return texts;
}
