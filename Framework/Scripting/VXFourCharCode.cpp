#include "VXFourCharCode.h"

QString VXStringFromCode(VXFourCharCode code)
{
    const char text[] = {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
    return QString::fromLatin1(text, sizeof text);
}

VXFourCharCode VXCodeFromString(const QString &text)
{
    if (text.isEmpty() || text.size() > 4)
        return 0;
    VXFourCharCode code = 0;
    for (qsizetype index = 0; index < 4; ++index) {
        const char16_t character = index < text.size() ? text[index].unicode() : u' ';
        if (character > 0xff)
            return 0;
        code = code << 8 | character;
    }
    return code;
}
