// Phonebook strings and lists of any UTF-16 text: UTF-8, or UTF-16 after a byte 0xFF, which can have lone
// surrogates. The lines of the text are a name, a value and a type mask's letters; all of it is a list. It is
// taken apart as a simple model does it, character by character, and what is put together comes apart again.
// The log goes to the console, not to the developer's system log: run libFuzzer with -close_fd_mask=2.

#include "VXEmailAddress.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXFuzzing.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXTextEscaping.h"

#include <QtCore/QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString reserved = u"<>{},"_s;

bool isSame(const QString &a, const QString &b)
{
    return a == b && a.isNull() == b.isNull();
}

bool isAddress(const QString &text)
{
    return VXIsValidPhoneNumber(text) || VXIsValidEmailAddress(text);
}

struct Split
{
    bool result = false;
    QString name, value;
    unsigned typeMask = 0;
};

struct Range
{
    void extend(qsizetype index)
    {
        first = first < 0 ? index : first;
        last = index;
    }
    QString of(const QString &text) const { return first < 0 ? QString() : text.sliced(first, last + 1 - first); }

    qsizetype first = -1;
    qsizetype last = -1;
};

QString unescaped(const QString &text)
{
    return VXTextEscaping::stringByUnescapingCharactersInString(text, reserved);
}

// One character after the other, with a mark for each state.
Split modelSplit(const QString &text)
{
    if (isAddress(text))
        return {true, {}, text, 0};
    Split split{false, text, {}, 0};
    Range name, property;
    bool escaped = false, inside = false, closed = false;
    for (qsizetype index = 0; index < text.size(); ++index) {
        const QChar character = text[index];
        const bool special = !escaped && (character == u'<' || character == u'>');
        if (special && (character == u'<' ? inside || closed : !inside))
            return split;
        if (special) {
            closed = inside;
            inside = !inside;
        } else if (escaped || !character.isSpace()) {
            if (closed)
                return split;
            (inside ? property : name).extend(index);
        }
        escaped = !escaped && character == u'\\';
    }
    if (inside)
        return split;
    split.name = unescaped(name.of(text));
    QString value = property.of(text);
    if (value.isNull())
        return split;
    const qsizetype slash = value.lastIndexOf(u'/');
    if (slash >= 0 && VXIsValidPhonebookType(value.sliced(slash + 1))) {
        split.typeMask = VXPhonebookTypeMaskFromString(value.sliced(slash + 1));
        value.truncate(slash);
    }
    split.value = unescaped(value);
    split.result = isAddress(value);
    return split;
}

void appendModelPiece(const QString &text, QStringList &items, bool &mark)
{
    const QString piece = text.trimmed();
    if (piece.isEmpty())
        return;
    const Split split = modelSplit(piece);
    if (split.result && !split.name.isNull() && mark)
        items.append(items.takeLast() + u", "_s + piece);
    else
        items.append(piece);
    mark = !split.result;
}

QStringList modelUnpack(const QString &text, bool expandGroups)
{
    QStringList items;
    qsizetype start = 0;
    bool inGroup = false, mark = false;
    for (qsizetype index = 0; index <= text.size(); ++index) {
        const QChar character = index < text.size() ? text[index] : QChar(u',');
        if (character == u'{') {
            inGroup = true;
        } else if (character == u'}' && inGroup) {
            const QString group = text.sliced(start, index + 1 - start).trimmed();
            QStringList members;
            if (expandGroups)
                (void)VXPhonebookGroupSplit(group, nullptr, &members);
            items += expandGroups ? members : QStringList(group);
            inGroup = mark = false;
            start = index + 1;
        } else if (character == u',' && !inGroup) {
            appendModelPiece(text.sliced(start, index - start), items, mark);
            start = index + 1;
        }
    }
    return items;
}

Split split(const QString &text)
{
    Split parts;
    parts.result = VXPhonebookStringSplit(text, &parts.name, &parts.value, &parts.typeMask);
    return parts;
}

void checkAgainstModel(const QString &text)
{
    const Split ours = split(text);
    const Split model = modelSplit(text);
    require(ours.result == model.result && ours.typeMask == model.typeMask);
    require(isSame(ours.name, model.name) && isSame(ours.value, model.value));
    require(VXUnpackPhonebookStrings(text, false) == modelUnpack(text, false));
    require(VXUnpackPhonebookStrings(text, true) == modelUnpack(text, true));
}

// A name comes back if it has something other than whitespace around it, and no backslash: one before a
// reserved character or at the end is not told from those that joining writes.
bool isPlainName(const QString &name)
{
    return name.isNull() || (!name.isEmpty() && name.trimmed() == name && !name.contains(u'\\'));
}

// A value comes back if it is a valid address without whitespace around it and without characters that
// joining escapes, as it is tested as it is written; and, where no letters are written behind it, if what
// follows its last "/" cannot be taken for letters.
bool isPlainValue(const QString &value, bool hasLetters)
{
    for (const QChar character : reserved + u'\\') {
        if (value.contains(character))
            return false;
    }
    const qsizetype slash = value.lastIndexOf(u'/');
    return isAddress(value) && value.trimmed() == value &&
           (hasLetters || slash < 0 || !VXIsValidPhonebookType(value.sliced(slash + 1)));
}

void checkRoundTrip(const QString &name, const QString &value, unsigned typeMask)
{
    const QString joined = VXPhonebookStringJoin(name, value, typeMask);
    const bool isBare = name.isNull() && typeMask == 0;
    // Masks with both locations or an unknown kind have no letters of their own.
    const unsigned written = VXPhonebookTypeMaskFromString(VXStringFromPhonebookTypeMask(typeMask));
    if (written != typeMask || !isPlainName(name) || !isPlainValue(value, isBare || typeMask != 0))
        return;
    // A name like "x@1.2.3.4" makes the whole text an address: the last of four labels may hold anything.
    if (!isBare && isAddress(joined))
        return;
    const Split parts = split(joined);
    require(parts.result && isSame(parts.name, name) && parts.value == value && parts.typeMask == typeMask);
}

// Groups stay whole: expanded, their members could be joined with their new neighbours.
void checkPacking(const QString &text)
{
    const QStringList items = VXUnpackPhonebookStrings(text, false);
    const QString packed = VXPackPhonebookStrings(items);
    require(VXUnpackPhonebookStrings(packed, false) == items);
    require(VXPhonebookStringsMatch(text, packed) && VXPhonebookStringsMatch(packed, text));
}

void checkNumber(const QString &number, const QString &pattern)
{
    const QString search = VXPhoneNumberSearchString(number);
    require(search.size() <= number.size());
    const QString stripped = VXPhoneNumberByStrippingCountryCode(number);
    require(number.endsWith(stripped));
    require(number.startsWith(VXPhoneNumberInternationalAccessCode(number)));
    require(number.startsWith(VXPhoneNumberNationalAccessCode(number)));
    (void)VXPhoneNumberWithFormat(number, pattern);
    (void)VXFormatPhoneNumber(number);
}

QString textOf(const std::uint8_t *data, std::size_t size)
{
    if (size == 0 || data[0] != 0xFF)
        return QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QString text;
    for (std::size_t index = 1; index + 1 < size; index += 2)
        text += QChar(static_cast<char16_t>(data[index] | data[index + 1] << 8));
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir home;
    static const bool isSet = (VXSetHomeFolder(home.path()), VX_OSX_VERSION = 0x1049, true);
    require(isSet);
    const QString text = textOf(data, size);
    const QStringList fields = text.split(u'\n') + QStringList({u""_s, u""_s});
    const unsigned typeMask = VXPhonebookTypeMaskFromString(fields[2]);

    checkAgainstModel(text);
    for (const QString &field : fields)
        checkAgainstModel(field);
    checkPacking(text);
    checkRoundTrip(fields[0], fields[1], typeMask);
    checkRoundTrip({}, fields[1], typeMask);
    checkRoundTrip({}, fields[1], static_cast<unsigned>(fields[0].size()));
    checkNumber(fields[0], fields[1]);
    const QString escaped = VXTextEscaping::stringByEscapingCharactersInString(fields[0], reserved + u'\\');
    require(VXTextEscaping::stringByUnescapingCharactersInString(escaped, reserved + u'\\') == fields[0]);
    return 0;
}
