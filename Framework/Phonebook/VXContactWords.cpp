#include "VXContactWords.h"

#include "VXContactNames.h"
#include "VXContactRecord.h"
#include "VXPhoneNumber.h"
#include "VXTextComparison.h"
#include "VXTypedLetters.h"
#include "VXWrittenNumber.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestWord = 64;   // UTF-16 units
constexpr qsizetype mostKeys = 100;     // per contact; real contacts have fewer
constexpr qsizetype shortestNumber = 3; // digits that are taken for a number while typing
constexpr char endOfWord = '\0';

QString folded(const QString &text)
{
    return VXTypedLetters::folded(text).toLower();
}

// The half of a letter is of no script.
bool isUnspaced(QStringView text, qsizetype at)
{
    const bool isPair = text[at].isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate();
    return VXTypedLetters::isUnspaced(isPair ? QChar::surrogateToUcs4(text[at], text[at + 1]) : text[at].unicode());
}

bool isWordPart(QChar character)
{
    return character.isLetterOrNumber() || character.isSurrogate() || character.isMark();
}

QString digitsIn(QStringView text)
{
    QString digits;
    digits.reserve(text.size());
    for (const QChar character : text) {
        if (character.isDigit())
            digits += character;
    }
    return digits;
}

// "jane.doe@example.org", "doe@example.org", "example.org", "org"; "田中", "中"
void appendWords(QStringList &words, QStringView token)
{
    bool isInWord = false;
    for (qsizetype index = 0; index < token.size(); ++index) {
        const bool isPart = isWordPart(token[index]);
        if (isPart && (!isInWord || isUnspaced(token, index)))
            words.append(token.sliced(index).left(longestWord).toString());
        isInWord = isPart;
    }
}

// The number as dialled from abroad, at home, and as compared; and the rest from each of its parts on. None of a text that nobody
// can dial, as there would be ever more of them.
QStringList wordsOfNumber(const QString &written)
{
    const QString number = VXWrittenNumber::in(written).number;
    const QString digits = digitsIn(number);
    if (digits.size() > longestWord)
        return {};
    QStringList words{digits, VXPhoneNumberLookUpString(number)};
    const QString access = VXPhoneNumberInternationalAccessCode(digits);
    if (number.trimmed().startsWith(u'+'))
        words.append(VXPhoneNumberByStrippingCountryCode(digits));
    else if (!access.isNull())
        words << digits.sliced(access.size()) << VXPhoneNumberByStrippingCountryCode(digits.sliced(access.size()));
    qsizetype before = 0;
    for (qsizetype at = 0; at < number.size(); ++at) {
        if (!number[at].isDigit())
            continue;
        if (at > 0 && before > 0 && !number[at - 1].isDigit())
            words.append(digits.sliced(before));
        ++before;
    }
    words.removeIf([](const QString &word) { return word.isEmpty(); });
    words.removeDuplicates();
    return words;
}

void insertKeys(QSet<QByteArray> &keys, const QString &text, VXContactWords::Kind kind)
{
    if (text.isEmpty()) // as most are
        return;
    const char ending[] = {endOfWord, static_cast<char>(kind)};
    for (const QString &word : VXContactWords::wordsOf(text, kind)) {
        if (keys.size() < mostKeys)
            keys.insert(word.toUtf8().append(ending, sizeof ending));
    }
}

QString text(const VXManagedObject &object, const QString &key)
{
    return object.text(object.entity().propertyForName(key)->index()).toString();
}

// Without its addresses, which lie in other objects.
VXContactRecord recordOf(const VXManagedObject &person)
{
    VXContactRecord contact;
    contact.namePrefix = text(person, u"namePrefix"_s);
    contact.firstName = text(person, u"firstName"_s);
    contact.middleName = text(person, u"middleName"_s);
    contact.lastName = text(person, u"lastName"_s);
    contact.nameSuffix = text(person, u"nameSuffix"_s);
    contact.nickname = text(person, u"nickname"_s);
    contact.properties = text(person, u"properties"_s).split(u'\n', Qt::SkipEmptyParts);
    return contact;
}

} // namespace

QString VXContactSortName(const QString &firstName, const QString &lastName, const QString &nickname,
                          const QString &company)
{
    QStringList names{lastName, firstName};
    names.removeIf([](const QString &name) { return name.isEmpty(); });
    if (names.isEmpty())
        names = {nickname.isEmpty() ? company : nickname};
    return VXFoldedText(names.join(u' '), VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
}

QStringList VXContactWords::wordsOf(const QString &text, Kind kind)
{
    QStringList words;
    if (kind == Kind::Number)
        return wordsOfNumber(text);
    const QString plain = folded(text).simplified();
    for (const QStringView token : QStringView(plain).split(u' ', Qt::SkipEmptyParts))
        appendWords(words, token);
    return words + VXTypedLetters::wordsWithoutJoints(plain);
}

QSet<QByteArray> VXContactWords::keysOf(const VXManagedObject &person)
{
    QSet<QByteArray> keys;
    const VXContactRecord contact = recordOf(person);
    for (const QString &name : VXNamesOfContact(contact))
        insertKeys(keys, name, Kind::Name);
    insertKeys(keys, text(person, u"company"_s), Kind::Company);
    const auto insertOf = [&](const QString &relationship, const QString &key, Kind kind) {
        const int index = person.entity().propertyForName(relationship)->index();
        for (const VXManagedObjectPtr &each : person.relatedObjects(index))
            insertKeys(keys, text(*each, key), kind);
    };
    insertOf(u"emails"_s, u"address"_s, Kind::Email);
    insertOf(u"numbers"_s, u"number"_s, Kind::Number);
    insertKeys(keys, text(person, u"jobTitle"_s), Kind::Other);
    for (const QString &role : VXRolesOfContact(contact))
        insertKeys(keys, role, Kind::Other);
    insertOf(u"groups"_s, u"name"_s, Kind::Other);
    insertOf(u"addresses"_s, u"city"_s, Kind::Other);
    for (const QString &uid : contact.formerUIDs())
        keys.insert(keyOfFormerUID(uid));
    keys.insert(keyOfGeneration());
    return keys;
}

QStringList VXContactWords::typedWords(const QString &text)
{
    const QString trimmed = text.trimmed();
    const QString number = VXWrittenNumber::in(trimmed).number;
    if (const QString digits = digitsIn(VXPhoneNumberWithoutTrunkZero(number));
        digits.size() >= shortestNumber && VXIsValidPhoneNumber(number) &&
        std::ranges::none_of(number, [](QChar character) { return character.isLetter(); }))
        return {number.startsWith(u'+') ? u'+' + digits : digits};
    QStringList words;
    for (QString token : folded(trimmed).simplified().split(u' ', Qt::SkipEmptyParts)) {
        while (!token.isEmpty() && !isWordPart(token.front()))
            token.remove(0, 1);
        while (!token.isEmpty() && (token.back() == u',' || token.back() == u';' || token.back() == u'>'))
            token.chop(1);
        if (!token.isEmpty())
            words.append(token.left(longestWord));
    }
    return words;
}

QStringList VXContactWords::beginnings(const QString &word)
{
    const QString digits = word.startsWith(u'+') ? word.sliced(1) : word;
    QStringList all{digits};
    const bool isNumber = std::ranges::all_of(digits, [](QChar character) { return character.isDigit(); });
    if (isNumber && digits.startsWith(u'0')) {
        const auto *const first = std::ranges::find_if(digits, [](QChar character) { return character != u'0'; });
        if (const QString rest(first, digits.cend() - first); !rest.isEmpty())
            all.append(rest);
    }
    // A whole number that is kept in another form.
    if (const QString lookUp = isNumber ? VXPhoneNumberSearchString(word) : QString();
        !lookUp.isEmpty() && !all.contains(lookUp))
        all.append(lookUp + QLatin1Char(endOfWord));
    if (const QString joined = VXTypedLetters::withoutJoints(word); !joined.isNull())
        all.append(joined);
    if (const QString umlauts = VXTypedLetters::withoutDigraphs(word); !umlauts.isNull())
        all.append(umlauts);
    return all;
}
