#pragma once

#include <QtCore/QStringView>

#ifdef __SSE2__
#include <bit>
#include <emmintrin.h>
#endif

/**
 * The index of the first of three ASCII characters at or after `from`; the text's size when there is none. Checks eight
 * UTF-16 units at a time if the processor can.
 */
template <char16_t A, char16_t B, char16_t C>
inline qsizetype VXIndexOfAny(QStringView text, qsizetype from)
{
    qsizetype index = from;
#ifdef __SSE2__
    for (; index + 8 <= text.size(); index += 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text.utf16() + index));
        const __m128i hits = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16(A)), _mm_cmpeq_epi16(units, _mm_set1_epi16(B))),
            _mm_cmpeq_epi16(units, _mm_set1_epi16(C)));
        if (const int mask = _mm_movemask_epi8(hits))
            return index + std::countr_zero(static_cast<unsigned>(mask)) / 2;
    }
#endif
    while (index < text.size() && text[index] != A && text[index] != B && text[index] != C)
        ++index;
    return index;
}
