#include "VXAddressSource.h"

#include "VXPhonebookEntry.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXPhonebookTransformer.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <optional>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostRows = 20;
constexpr int mostAsked = 100; // completions from which the best are chosen

class PhonebookSource : public VXAddressSource
{
public:
    QStringList completions(const QString &typed, int limit) override
    {
        return VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(typed, VXPhonebookPropertyAll,
                                                                                    static_cast<unsigned>(limit));
    }

    QString nameForAddress(const QString &phonebookString) override
    {
        const VXManagedObjectPtr entry =
            VXPhonebookManager::sharedPhonebookManager().entryForPhonebookString(phonebookString);
        return entry ? VXPhonebookEntry::displayString(*entry) : QString();
    }
};

bool isGroup(const QString &string)
{
    return string.contains(u'{') && VXPhonebookGroupSplit(string);
}

// Without case and accents.
QString folded(const QString &text)
{
    QString result;
    for (const QChar c : text.normalized(QString::NormalizationForm_KD)) {
        if (c.category() != QChar::Mark_NonSpacing)
            result += c.toCaseFolded();
    }
    return result;
}

bool hasWordThatBegins(const QString &foldedName, const QString &begin)
{
    static const QRegularExpression nonWord(u"[^\\w]+"_s, QRegularExpression::UseUnicodePropertiesOption);
    const QStringList words = foldedName.split(nonWord, Qt::SkipEmptyParts);
    return std::any_of(words.cbegin(), words.cend(), [&](const QString &word) { return word.startsWith(begin); });
}

enum Rank { ExactNumber, Recent, NameBegins, WordBegins, Inside, Group };

struct Typed
{
    QString folded;
    QString digits; // of a number, in its search form

    explicit Typed(const QString &text) : folded(::folded(text.trimmed()))
    {
        const bool isNumber = std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.isDigit(); }) &&
                              std::none_of(text.cbegin(), text.cend(), [](QChar c) { return c.isLetter(); });
        digits = isNumber ? VXPhoneNumberLookUpString(text) : QString();
    }
};

struct Candidate
{
    QString string;
    QString name;
    QString digits;
    bool isGroup;

    explicit Candidate(const QString &text) : string(text), isGroup(::isGroup(text))
    {
        QString value;
        if (isGroup)
            static_cast<void>(VXPhonebookGroupSplit(text, &name));
        else
            static_cast<void>(VXPhonebookStringSplit(text, &name, &value));
        digits = VXPhoneNumberLookUpString(value);
    }
};

Rank rankOf(const Candidate &candidate, const Typed &typed)
{
    if (candidate.isGroup)
        return Group;
    if (!typed.digits.isEmpty() && candidate.digits == typed.digits)
        return ExactNumber;
    const QString name = folded(candidate.name);
    if (name.startsWith(typed.folded) || (!typed.digits.isEmpty() && candidate.digits.startsWith(typed.digits)))
        return NameBegins;
    return hasWordThatBegins(name, typed.folded) ? WordBegins : Inside;
}

bool fits(const Candidate &candidate, const Typed &typed)
{
    return folded(candidate.string).contains(typed.folded) ||
           (!typed.digits.isEmpty() && candidate.digits.contains(typed.digits));
}

} // namespace

// -- Tokens

QString VXPhonebookToken::label() const
{
    if (state == State::Group)
        return name;
    if (!name.isEmpty())
        return name;
    if (state == State::Invalid)
        return string;
    const QString shown = VXIsValidPhoneNumber(value) ? VXFormatPhoneNumber(value) : value;
    return QChar(0x2066) + shown + QChar(0x2069); // isolates the number, which is read from left to right in any text
}

QString VXPhonebookToken::key() const
{
    const QString digits = VXIsNumberAsWritten(value) ? VXPhoneNumberRecordString(value) : QString();
    if (!digits.isEmpty())
        return digits;
    return value.isEmpty() ? string.toCaseFolded() : value.toCaseFolded();
}

// -- The source

VXAddressSource::~VXAddressSource() = default;

std::shared_ptr<VXAddressSource> VXAddressSource::phonebookSource()
{
    return std::make_shared<PhonebookSource>();
}

QStringList VXAddressSource::rankedCompletions(const QString &typed, const QStringList &recent)
{
    const Typed wanted(typed);
    if (wanted.folded.isEmpty())
        return {};
    struct Row
    {
        Candidate candidate;
        int rank;
        qsizetype order; // within the same rank
    };
    std::vector<Row> rows;
    QStringList keys;
    const auto add = [&](const QString &string, std::optional<qsizetype> recentIndex) {
        Candidate candidate(string);
        VXPhonebookToken token{string};
        static_cast<void>(VXPhonebookStringSplitAsWritten(string, nullptr, &token.value));
        const QString key = candidate.isGroup ? string : token.key();
        if (keys.contains(key) || (recentIndex && !fits(candidate, wanted)))
            return;
        keys.append(key);
        const Rank rank = rankOf(candidate, wanted);
        const bool counts = recentIndex && rank != ExactNumber;
        rows.push_back({std::move(candidate), counts ? int(Recent) : int(rank), recentIndex.value_or(0)});
    };
    for (qsizetype i = 0; i < recent.size(); ++i)
        add(recent.at(i), i);
    for (const QString &string : completions(typed.trimmed(), mostAsked))
        add(string, {});
    std::ranges::stable_sort(rows, [](const Row &a, const Row &b) {
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return a.order != b.order ? a.order < b.order : a.candidate.name.localeAwareCompare(b.candidate.name) < 0;
    });
    QStringList result;
    for (const Row &row : rows) {
        if (result.size() < mostRows)
            result.append(row.candidate.string);
    }
    return result;
}

VXPhonebookToken VXAddressSource::resolve(const QString &text)
{
    using State = VXPhonebookToken::State;
    const QString trimmed = text.trimmed();
    VXPhonebookToken token{trimmed};
    if (isGroup(trimmed)) {
        static_cast<void>(VXPhonebookGroupSplit(trimmed, &token.name, &token.candidates));
        token.state = token.candidates.isEmpty() ? State::Invalid : State::Group;
        return token;
    }
    if (VXPhonebookStringSplitAsWritten(trimmed, &token.name, &token.value, &token.type)) {
        const QString known = nameForAddress(trimmed);
        token.state = known.isEmpty() ? State::Unknown : State::Known;
        if (token.name.isEmpty() && !known.isEmpty()) {
            token.name = known;
            token.string = VXPhonebookStringJoin(known, token.value, token.type);
        }
        return token;
    }
    // A name: the addresses of people with exactly that name.
    QStringList named;
    for (const QString &string : completions(trimmed, mostAsked)) {
        const Candidate candidate(string);
        if (folded(candidate.name) == folded(trimmed))
            named.append(string);
    }
    if (named.isEmpty())
        return {trimmed, State::Invalid};
    VXPhonebookToken found = resolve(named.first());
    if (named.size() > 1) {
        found.state = State::Ambiguous;
        found.candidates = named;
    }
    return found;
}
