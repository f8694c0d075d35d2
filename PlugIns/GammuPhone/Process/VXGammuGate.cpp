#include "VXGammuGate.h"

#include "VXDialableNumber.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <gammu.h>

using namespace Qt::StringLiterals;

namespace {

// Letters of the alphabet that phones share (3GPP TS 23.038), besides the ASCII ones in it, and those that take two
// places.
constexpr QStringView singles = u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ !\"#¤%&'()*+,-./:;<=>?¡ÄÖÑÜ§¿äöñüà";
constexpr QStringView doubles = u"^{}\\[~]|€\f";

// The capacity of one part of several.
constexpr qsizetype placesOfPart = 152;
constexpr qsizetype unitsOfPart = 66;

bool isShared(QChar letter)
{
    return (letter.unicode() < 0x80 && letter.isLetterOrNumber()) || singles.contains(letter);
}

// The number of places the text takes in that alphabet; none if it needs another alphabet.
qsizetype placesOf(const QString &text)
{
    qsizetype places = 0;
    for (const QChar letter : text) {
        if (!isShared(letter) && !doubles.contains(letter))
            return -1;
        places += isShared(letter) ? 1 : 2;
    }
    return places;
}

bool isLineEnd(QChar letter)
{
    return letter == u'\n' || letter == u'\r' || letter == u'\t';
}

bool isControl(QChar letter)
{
    return letter.category() == QChar::Other_Control || letter == QChar::LineSeparator ||
           letter == QChar::ParagraphSeparator;
}

} // namespace

QString VXGammuGate::storableNumber(const QString &number)
{
    static const QRegularExpression storable(u"\\A\\+?[0-9*#][0-9*#pPwW+]{0,79}\\z"_s);
    VXWrittenNumber written = VXWrittenNumber::in(number);
    QString bare = VXNumberWithoutWriting(number);
    const QString dialled = VXNumberWithoutWriting(written.number);
    const QStringView rest = QStringView(bare).sliced(bare.startsWith(dialled) ? dialled.size() : 0);
    if (!rest.isEmpty() && !u"pPwW"_s.contains(rest.front())) { // phones write a pause before extensions
        if (!written.extension.isEmpty())
            written.extension.replace(u',', u'p').prepend(u'p');
        bare = dialled + written.extension;
    }
    return storable.match(bare).hasMatch() ? bare : QString();
}

VXGammuFailure VXGammuGate::checkField(const QString &key, const QString &text) const
{
    const auto isForbidden = [this](QChar letter) {
        return (isControl(letter) && !(_takesCards && isLineEnd(letter))) || (letter == u'"' && !_takesCards);
    };
    if (std::ranges::any_of(text, isForbidden))
        return VXGammuRefusal(
            u"The text of \"%1\" has a quotation mark, a line's end or another character that this phone cannot have."_s,
            {key});
    if (text.size() > GSM_PHONEBOOK_TEXT_LENGTH)
        return VXGammuRefusal(u"The text of \"%1\" is too long for a phone."_s, {key});
    return {};
}

VXGammuFailure VXGammuGate::checkMessage(const QString &text)
{
    if (text.isEmpty())
        return VXGammuRefusal(u"The message has no text."_s);
    if (std::ranges::any_of(text, [](QChar letter) { return isControl(letter) && !isLineEnd(letter); }))
        return VXGammuRefusal(u"The message has a character that no message can have."_s);
    const qsizetype places = placesOf(text);
    const qsizetype parts =
        places >= 0 ? (places + placesOfPart - 1) / placesOfPart : (text.size() + unitsOfPart - 1) / unitsOfPart;
    if (parts > GSM_MAX_MULTI_SMS)
        return VXGammuRefusal(u"The message is too long: it takes more than %1 parts."_s,
                              {QString::number(GSM_MAX_MULTI_SMS)});
    return {};
}
