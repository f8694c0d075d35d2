#include "VXPhonebookStringParts.h"

#include "VXCharacterSet.h"
#include "VXEmailAddress.h"
#include "VXIndexOfAny.h"
#include "VXLog.h"

#include "VXPhoneNumber.h"
#include <QtCore/QStringBuilder>

using namespace Qt::StringLiterals;

namespace {

constexpr auto invalidInName = "invalid character in name: "_L1;
constexpr auto invalidInProperty = "invalid character in property: "_L1;
constexpr auto invalidAfterProperty = "invalid character after property: "_L1;
constexpr auto unterminatedProperty = "unterminated property: "_L1;

bool isValidAddress(QStringView text)
{
    return VXIsValidPhoneNumber(text) || VXIsValidEmailAddress(text);
}

class Scanner
{
public:
    explicit Scanner(QStringView text) : _text(text) {}

    bool isAtEnd() const { return _position == _text.size(); }
    QChar current() const { return _text[_position]; }
    void skip() { ++_position; }

    // Reads up to the next unescaped "<" or ">", or the end, and returns that without surrounding whitespace. An
    // escaped whitespace character is content, so the content ends after it at the earliest. Null when there is no
    // content.
    QStringView readContent()
    {
        const qsizetype start = _position;
        qsizetype escapedEnd = start;
        for (;; escapedEnd = _position) {
            _position = VXIndexOfAny<u'<', u'>', u'\\'>(_text, _position);
            if (isAtEnd() || current() != u'\\')
                break;
            _position = std::min(_position + 2, _text.size());
        }
        QStringView content = _text.sliced(start, _position - start);
        while (content.size() > escapedEnd - start && content.back().isSpace())
            content.chop(1);
        while (!content.isEmpty() && content.front().isSpace())
            content = content.sliced(1);
        return content.isEmpty() ? QStringView() : content;
    }

    bool onlyWhitespaceIsLeft() const { return isAtEnd() || _text.sliced(_position).trimmed().isEmpty(); }

private:
    const QStringView _text;
    qsizetype _position = 0;
};

// The property is "value" or "value/letters"; the letters are what follows its last "/".
void splitProperty(QStringView property, VXPhonebookStringParts &parts)
{
    const VXCharacterSet &letters = VXCharacterSet::phonebookTypeMaskCharacterSet();
    qsizetype start = property.size();
    while (start > 0 && letters.characterIsMember(property[start - 1].unicode()))
        --start;
    const bool hasLetters = start > 0 && property[start - 1] == u'/';
    parts.value = hasLetters ? property.first(start - 1) : property;
    parts.letters = hasLetters ? property.sliced(start) : QStringView();
    parts.isAddress = isValidAddress(parts.value);
}

VXPhonebookStringParts splitNameAndProperty(QStringView text)
{
    VXPhonebookStringParts parts;
    Scanner scanner(text);
    const auto problem = [](QLatin1StringView what) { return VXPhonebookStringParts{.problem = what}; };

    parts.name = scanner.readContent();
    if (scanner.isAtEnd())
        return parts;
    if (scanner.current() == u'>')
        return problem(invalidInName);
    scanner.skip();
    const QStringView property = scanner.readContent();
    if (scanner.isAtEnd())
        return problem(unterminatedProperty);
    if (scanner.current() == u'<')
        return problem(invalidInProperty);
    scanner.skip();
    if (!scanner.onlyWhitespaceIsLeft())
        return problem(invalidAfterProperty);
    if (!property.isEmpty())
        splitProperty(property, parts);
    return parts;
}

} // namespace

VXPhonebookStringParts VXPhonebookStringParts::parse(QStringView text)
{
    return isValidAddress(text) ? VXPhonebookStringParts{.value = text, .isAddress = true} : splitNameAndProperty(text);
}

VXPhonebookStringParts VXPhonebookStringParts::split(QStringView text)
{
    const VXPhonebookStringParts parts = parse(text);
    if (!parts.problem.isNull())
        VXLog::log(VXLogNotice, parts.problem % text);
    return parts;
}
