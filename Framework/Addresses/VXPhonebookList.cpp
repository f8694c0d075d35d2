#include "VXPhonebookList.h"

#include "VXIndexOfAny.h"
#include "VXLog.h"
#include "VXPhonebookGroupParts.h"
#include "VXPhonebookStringParts.h"
#include "VXPhoneNumber.h"

#include <QtCore/QHash>
#include <QtCore/QStringBuilder>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Each line contains the whole text: a million stray braces must not produce a million lines of a megabyte.
constexpr int maximumBraceWarnings = 16;

class Unpacker
{
public:
    Unpacker(QStringView text, bool expandGroups) : _text(text), _expandGroups(expandGroups) {}

    VXPhonebookItems unpack()
    {
        for (qsizetype index = 0;; ++index) {
            index = VXIndexOfAny<u'{', u'}', u','>(_text, index);
            if (index == _text.size())
                break;
            if (_text[index] == u'{')
                openGroup();
            else if (_text[index] == u'}')
                closeGroup(index);
            else if (!_inGroup)
                endItem(index);
        }
        if (_inGroup)
            VXLog::log(VXLogWarning, "unterminated group: "_L1 % _text);
        else
            endItem(_text.size());
        return std::move(_items);
    }

private:
    void openGroup()
    {
        if (_inGroup)
            warnOfBrace("already in group: "_L1);
        _inGroup = true;
    }

    void closeGroup(qsizetype index)
    {
        if (!_inGroup) {
            warnOfBrace("not in group: "_L1);
            return;
        }
        _inGroup = false;
        const QStringView group = _text.sliced(_start, index + 1 - _start).trimmed();
        _start = index + 1;
        if (!_expandGroups)
            _items.appendWhole(group);
        else if (const auto parts = VXPhonebookGroupParts::split(group))
            _items.appendMembers(parts->body);
    }

    void endItem(qsizetype index)
    {
        _items.appendPiece(_text.sliced(_start, index - _start));
        _start = index + 1;
    }

    void warnOfBrace(QLatin1StringView problem)
    {
        if (_warnings++ < maximumBraceWarnings)
            VXLog::log(VXLogWarning, problem % _text);
    }

    const QStringView _text;
    const bool _expandGroups;
    VXPhonebookItems _items;
    qsizetype _start = 0;
    bool _inGroup = false;
    int _warnings = 0;
};

// What items are compared by. Digits are never escaped, so the value need not be unescaped first.
QString keyOf(const VXPhonebookItem &item)
{
    const QString joined = item.nameStart.isNull() ? QString() : item.toString();
    const QStringView text = joined.isNull() ? item.text : QStringView(joined);
    const auto parts = VXPhonebookStringParts::split(text);
    const QString searchString = parts.isAddress ? VXPhoneNumberSearchString(parts.value) : QString();
    return searchString.isEmpty() ? text.toString() : searchString;
}

} // namespace

QStringList VXUnpackPhonebookStrings(const QString &text, bool expandGroups)
{
    return VXUnpackPhonebookItems(text, expandGroups).toStringList();
}

VXPhonebookItems VXUnpackPhonebookItems(QStringView text, bool expandGroups)
{
    return Unpacker(text, expandGroups).unpack();
}

QString VXPackPhonebookStrings(const QStringList &items)
{
    return items.isEmpty() ? u""_s : items.join(", "_L1);
}

bool VXPhonebookStringsMatch(const QString &a, const QString &b)
{
    const VXPhonebookItems wanted = VXUnpackPhonebookItems(a, true);
    const VXPhonebookItems given = VXUnpackPhonebookItems(b, true);
    if (wanted.count() != given.count())
        return false;
    QHash<QString, qsizetype> counts;
    counts.reserve(wanted.count());
    for (const VXPhonebookItem &item : wanted)
        ++counts[keyOf(item)];
    return std::all_of(given.begin(), given.end(), [&](const VXPhonebookItem &item) {
        const auto count = counts.find(keyOf(item));
        return count != counts.end() && (*count)-- > 0;
    });
}
