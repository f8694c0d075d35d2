#include "VXCountryCodes.h"

#include "VXCodePoint.h"

constexpr std::array<quint32, VXPhonebookCountryCodesCount> VXPhonebookCountryCodes = {
    // clang-format off
    1242, 1246, 1264, 1268, 1268, 1284, 1340, 1345, 1441, 1473, 1649, 1664, 1670, 1671, 1758, 1767, 1784,
    1787, 1808, 1809, 1868, 1869, 1869, 1876, 1939, 20, 212, 213, 216, 218, 220, 221, 222, 223, 224, 225,
    226, 227, 228, 229, 230, 231, 232, 233, 234, 235, 236, 237, 238, 239, 240, 241, 242, 243, 244, 245, 246,
    247, 248, 249, 250, 251, 252, 253, 254, 255, 255, 256, 257, 258, 260, 261, 262, 263, 264, 265, 266, 267,
    268, 269, 27, 290, 291, 297, 298, 299, 30, 31, 32, 33, 34, 350, 351, 352, 353, 354, 355, 356, 357, 358,
    359, 36, 370, 371, 372, 373, 374, 375, 376, 377, 378, 379, 380, 381, 385, 386, 387, 389, 39, 40, 41,
    420, 421, 423, 43, 44, 45, 46, 47, 48, 49, 500, 501, 502, 503, 504, 505, 506, 507, 508, 509, 51, 52, 53,
    5399, 5399, 54, 55, 56, 57, 58, 590, 591, 592, 593, 594, 595, 596, 596, 597, 598, 599, 599, 60, 61, 62,
    63, 64, 65, 66, 670, 672, 672, 672, 673, 674, 675, 676, 677, 678, 679, 680, 681, 682, 683, 684, 685,
    686, 687, 688, 689, 690, 691, 692, 7, 800, 808, 808, 81, 82, 84, 850, 852, 853, 855, 856, 86, 870, 871,
    872, 873, 874, 878, 880, 881, 8810, 8811, 8812, 8812, 8813, 8813, 8816, 8817, 8818, 8819, 88213, 88216,
    886, 90, 91, 92, 93, 94, 95, 960, 961, 962, 963, 964, 965, 966, 967, 968, 970, 971, 972, 973, 974, 975,
    976, 977, 98, 992, 993, 994, 995, 996, 998,
    // clang-format on
};

namespace {

constexpr qsizetype maximumCodeLength = 5;
constexpr quint16 notInTable = 0xFFFF;

// A node of the digit tree: a number, the first table entry that equals it, and the numbers that are one digit longer.
struct Node
{
    std::array<quint16, 10> next{}; // 0: none, as no edge leads back to the root
    quint16 order = notInTable;
};

constexpr std::array<quint8, maximumCodeLength> digitsOf(quint32 code, qsizetype &count)
{
    std::array<quint8, maximumCodeLength> digits{};
    count = 0;
    for (quint32 rest = code; rest > 0; rest /= 10)
        ++count;
    for (qsizetype index = count; index-- > 0; code /= 10)
        digits[static_cast<size_t>(index)] = static_cast<quint8>(code % 10);
    return digits;
}

constexpr bool everyEntryIsSet()
{
    for (const quint32 code : VXPhonebookCountryCodes) {
        if (code == 0 || code > 99999)
            return false;
    }
    return true;
}
static_assert(everyEntryIsSet(), "the table has fewer entries than it says, or one that is too long");

constexpr size_t maximumNodes = 400;

struct Tree
{
    std::array<Node, maximumNodes> nodes{};
    quint16 count = 1;
};

constexpr Tree makeTree()
{
    Tree tree;
    for (quint16 order = 0; order < VXPhonebookCountryCodesCount; ++order) {
        qsizetype length = 0;
        const auto digits = digitsOf(VXPhonebookCountryCodes[order], length);
        size_t node = 0;
        for (qsizetype index = 0; index < length; ++index) {
            quint16 &next = tree.nodes[node].next[digits[static_cast<size_t>(index)]];
            if (next == 0)
                next = tree.count++;
            node = next;
        }
        if (tree.nodes[node].order == notInTable)
            tree.nodes[node].order = order;
    }
    return tree;
}

constexpr Tree tree = makeTree();

} // namespace

// A single path down the tree visits every entry that a walk over the table could match, shorter ones first; the one
// that is first in the table wins.
qsizetype VXCountryCodeLength(QStringView digits)
{
    qsizetype length = 0;
    quint16 best = notInTable;
    size_t node = 0;
    qsizetype index = 0;
    for (qsizetype count = 0; count < maximumCodeLength && index < digits.size(); ++count) {
        const int digit = VXDecimalDigitValue(VXNextCodePoint(digits, index));
        if (digit < 0)
            break;
        if (node == 0 && digit == 0)
            continue;
        node = tree.nodes[node].next[static_cast<size_t>(digit)];
        if (node == 0)
            break;
        if (tree.nodes[node].order < best) {
            best = tree.nodes[node].order;
            length = index;
        }
    }
    return length;
}
