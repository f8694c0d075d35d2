#include "VXMessageLength.h"

#include <QtCore/QSet>

namespace {

const QString &alphabet()
{
    static const QString letters = QStringLiteral(u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
                                                  "¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà");
    return letters;
}

// The characters that take two septets.
const QString &extension()
{
    static const QString letters = QStringLiteral(u"\f^{}\\[~]|€");
    return letters;
}

// The number of septets of a character; 0: it is not in the alphabet.
int septetsOf(QChar letter)
{
    static const QSet<QChar> plain(alphabet().cbegin(), alphabet().cend());
    static const QSet<QChar> extended(extension().cbegin(), extension().cend());
    return plain.contains(letter) ? 1 : extended.contains(letter) ? 2 : 0;
}

} // namespace

// The end of a part never splits a character of two units.
VXMessageLength VXMessageLength::of(const QString &text)
{
    VXMessageLength length;
    QList<int> units;
    for (qsizetype i = 0; i < text.size() && length.isPlain; ++i) {
        units.append(septetsOf(text[i]));
        length.isPlain = units.last() > 0;
    }
    if (!length.isPlain) {
        units.clear();
        for (qsizetype i = 0; i < text.size(); ++i) {
            const bool isPair = text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
            units.append(isPair ? 2 : 1);
            i += isPair ? 1 : 0;
        }
    }
    const int single = length.isPlain ? 160 : 70;
    const int chained = length.isPlain ? 153 : 67;
    int total = 0;
    for (const int each : units)
        total += each;
    length.parts = text.isEmpty() ? 0 : 1;
    length.left = single - total;
    if (total <= single)
        return length;
    int used = 0;
    for (const int each : units) {
        if (used + each > chained) {
            ++length.parts;
            used = 0;
        }
        used += each;
    }
    length.left = chained - used;
    return length;
}
