// The search string of real-life numbers beside libphonenumber's parse of the same; a list taken apart beside
// a plain scan of its characters for the delimiters, and beside making its results alone; how both grow with the list.

#include "VXPhonebookList.h"
#include "VXPhoneNumber.h"

#include <benchmark/benchmark.h>
#include <phonenumbers/phonenumberutil.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const std::vector<std::string> &numbers()
{
    static const std::vector<std::string> table = {
        "+1 650 253 0000",     "(650) 253-0000",    "1 (650) 253-0000",     "650.253.0000",
        "+16502530000",        "6502530000",        "1-800-356-9377",       "911",
        "+1 (242) 365-1234",   "253-0000",          "+44 20 7946 0018",     "0044 20 7946 0018",
        "011 44 20 7946 0018", "020 7946 0018",     "+44 (0)20 7946 0018",  "07700 900123",
        "+49 30 123456",       "030/123456",        "0049 30 123456",       "+49 (0) 172 1234567",
        "01721234567",         "+33 1 42 68 53 00", "01 42 68 53 00",       "0033142685300",
        "+39 06 6982 0000",    "+41 44 668 18 00",  "+43 1 58858",          "+7 495 123-45-67",
        "8 (495) 123-45-67",   "+81 3-3214-5211",   "03-3214-5211",         "+86 10 6552 9988",
        "+91 22 2202 6564",    "+61 2 9374 4000",   "0011 44 20 7946 0018", "+55 11 98765-4321",
        "+52 55 5658 1111",    "+852 2345 6789",    "+998 71 123 45 67",    "+358 9 1234 5678",
    };
    return table;
}

void searchString(benchmark::State &state)
{
    std::vector<QString> texts;
    for (const std::string &number : numbers())
        texts.push_back(QString::fromStdString(number));
    for (auto _ : state) {
        for (const QString &text : texts)
            benchmark::DoNotOptimize(VXPhoneNumberSearchString(text));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
    state.counters["allowed"] = 0.02;
}

void libphonenumberParse(benchmark::State &state)
{
    using namespace i18n::phonenumbers;
    const PhoneNumberUtil &util = *PhoneNumberUtil::GetInstance();
    for (auto _ : state) {
        for (const std::string &number : numbers()) {
            PhoneNumber parsed;
            benchmark::DoNotOptimize(util.Parse(number, "US", &parsed));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(numbers().size()));
}

// Of ten entries two are a group, one has a comma in its name, two are bare.
QString list(int64_t entries)
{
    static const QString kinds[] = {
        u"Jane Doe <+1 650 253 %1/Hm>"_s,
        u"Doe, John <+44 20 7946 %1/W>"_s,
        u"+49 172 555 %1"_s,
        u"Family { Anna Example <+43 1 588 %1/H>; "_s,
        u"paul.%1@example.com }"_s,
        u"Example Ltd. Reception <reception.%1@example.com/W>"_s,
        u"someone.%1@example.org"_s,
        u"Maria Garc\u00eda <0034 91 555 %1/m>"_s,
        u"Dr. Watson <(650) 253-%1>"_s,
        u"Li Wei <+86 10 6552 %1/Wp>"_s,
    };
    QString text;
    for (int64_t index = 0; index < entries; ++index) {
        const auto kind = static_cast<size_t>(index % 10);
        if (index > 0 && kind != 4)
            text += u", ";
        text += kinds[kind].arg(1000 + index % 9000);
    }
    return text;
}

// Where the delimiters are: what any splitting has to find.
void findDelimiters(QStringView text, std::vector<qsizetype> &positions)
{
    positions.clear();
    for (qsizetype index = 0; index < text.size(); ++index) {
        switch (text[index].unicode()) {
        case u',':
        case u';':
        case u'{':
        case u'}':
        case u'<':
        case u'>':
            positions.push_back(index);
        }
    }
}

void split(benchmark::State &state)
{
    const QString text = list(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(VXUnpackPhonebookItems(text, true));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["allowed"] = 3.0;
}

void unpack(benchmark::State &state)
{
    const QString text = list(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(VXUnpackPhonebookStrings(text, true));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void scan(benchmark::State &state)
{
    const QString text = list(state.range(0));
    std::vector<qsizetype> positions;
    positions.reserve(static_cast<size_t>(text.size()));
    for (auto _ : state) {
        findDelimiters(text, positions);
        benchmark::DoNotOptimize(positions.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The floor under every splitting: the result's strings, made from views that are there already.
void makeResults(benchmark::State &state)
{
    const QStringList items = VXUnpackPhonebookStrings(list(state.range(0)), true);
    const std::vector<QStringView> views(items.begin(), items.end());
    for (auto _ : state) {
        QStringList results;
        for (const QStringView view : views)
            results += view.toString();
        benchmark::DoNotOptimize(results);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// A list of groups that stay whole, and the same list from its end.
void match(benchmark::State &state)
{
    const QString text = list(state.range(0));
    QStringList items = VXUnpackPhonebookStrings(text, false);
    std::reverse(items.begin(), items.end());
    const QString reversed = VXPackPhonebookStrings(items);
    if (!VXPhonebookStringsMatch(text, reversed))
        state.SkipWithError("the lists do not match");
    for (auto _ : state)
        benchmark::DoNotOptimize(VXPhonebookStringsMatch(text, reversed));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Matching has both lists to unpack and each item's search string to make; that and no more is its peer.
void unpackAndNormalise(benchmark::State &state)
{
    const QString text = list(state.range(0));
    for (auto _ : state) {
        for (int side = 0; side < 2; ++side) {
            const QStringList items = VXUnpackPhonebookStrings(text, true);
            for (const QString &item : items)
                benchmark::DoNotOptimize(VXPhoneNumberSearchString(item));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(searchString)->Name("search-string/ours");
BENCHMARK(libphonenumberParse)->Name("search-string/peer");
BENCHMARK(split)->Name("list-split/ours")->Arg(1000);
BENCHMARK(scan)->Name("list-split/peer")->Arg(1000);
BENCHMARK(unpack)->Name("list-split-results/ours")->Arg(1000);
BENCHMARK(makeResults)->Name("list-split-results/peer")->Arg(1000);
// Growth: the time for one entry stays the same.
BENCHMARK(unpack)->Name("unpack/ours")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(scan)->Name("unpack/peer")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(match)->Name("match/ours")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(unpackAndNormalise)->Name("match/peer")->Arg(10)->Arg(1000)->Arg(100000);
