#include "VXVisibleText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool turnsDirection(QChar character)
{
    const char16_t unit = character.unicode();
    return (unit >= 0x202a && unit <= 0x202e) || (unit >= 0x2066 && unit <= 0x2069);
}

bool isHarmless(QChar character)
{
    return character == u'\n' || character == u'\t' ||
           (character.category() != QChar::Other_Control && !turnsDirection(character));
}

} // namespace

QString VXVisibleText(const QString &text)
{
    if (std::all_of(text.cbegin(), text.cend(), isHarmless))
        return text;
    const QString lines = QString(text).replace("\r\n"_L1, "\n"_L1);
    QString visible;
    for (const QChar character : lines) {
        const char16_t unit = character.unicode();
        if (isHarmless(character))
            visible += character;
        else if (unit < 0x80)
            visible += u'^' + QString(QChar(char16_t(unit ^ 0x40))); // "^[", and "^?" for delete
        else
            visible += QString::asprintf("<U+%04X>", unsigned(unit));
    }
    return visible;
}
