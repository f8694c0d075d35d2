#include "VXShownWidth.h"

#include <algorithm>
#include <clocale>
#include <cwchar>

namespace {

// Determined by the C library, in a UTF-8 locale regardless of the user's, because the output is UTF-8. Characters that
// cannot be shown take one column.
qsizetype widthOf(char32_t character)
{
    static const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t before = unicode == nullptr ? nullptr : ::uselocale(unicode);
    const int width = ::wcwidth(static_cast<wchar_t>(character));
    if (before != nullptr)
        ::uselocale(before);
    return width < 0 ? 1 : width;
}

} // namespace

qsizetype VXShownWidth(QStringView text)
{
    const bool isPlain = std::ranges::all_of(text, [](QChar each) { return each.unicode() < 0x80; });
    if (isPlain)
        return text.size();
    qsizetype width = 0;
    for (const uint character : text.toUcs4())
        width += widthOf(character);
    return width;
}

QString VXCutToWidth(const QString &text, qsizetype width)
{
    if (VXShownWidth(text) <= width)
        return text;
    QString cut;
    qsizetype used = 1; // for the "…"
    for (const uint character : text.toUcs4()) {
        used += widthOf(character);
        if (used > width)
            break;
        cut += QString::fromUcs4(reinterpret_cast<const char32_t *>(&character), 1);
    }
    return cut + u'…';
}
