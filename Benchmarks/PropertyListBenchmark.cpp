// Reading property lists of 10 MB beside libplist's own parse of the same bytes.

#include "VXPropertyList.h"

#include <benchmark/benchmark.h>
#include <plist/plist.h>
#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

namespace {

// An address book's worth of dictionaries, until the bytes reach 10 MB.
QByteArray tenMegabytes(VXPropertyList::Format format)
{
    QVariantList people;
    QByteArray bytes;
    for (int count = 10'000; bytes.size() < 10'000'000; count += count / 3) {
        while (people.size() < count) {
            const qlonglong number = people.size();
            people.append(QVariantMap{{u"name"_s, u"Jane Döe %1"_s.arg(number)},
                                      {u"numbers"_s, QVariantList{u"+1 555 %1"_s.arg(number), u"555-0100"_s}},
                                      {u"identifier"_s, number},
                                      {u"favourite"_s, number % 7 == 0},
                                      {u"changed"_s, QDateTime::fromSecsSinceEpoch(1'600'000'000 + number)},
                                      {u"photo"_s, QByteArray(40, char(number))}});
        }
        bytes = VXPropertyList::toData(people, format);
    }
    return bytes;
}

const QByteArray &input(VXPropertyList::Format format)
{
    static const QByteArray xml = tenMegabytes(VXPropertyList::Format::XML);
    static const QByteArray binary = tenMegabytes(VXPropertyList::Format::Binary);
    return format == VXPropertyList::Format::XML ? xml : binary;
}

void read(benchmark::State &state, VXPropertyList::Format format)
{
    const QByteArray &bytes = input(format);
    for (auto _ : state)
        benchmark::DoNotOptimize(VXPropertyList::fromData(bytes));
    state.counters["allowed"] = 2.0;
}

void readWithLibplist(benchmark::State &state, VXPropertyList::Format format)
{
    const QByteArray &bytes = input(format);
    for (auto _ : state) {
        plist_t root = nullptr;
        plist_from_memory(bytes.constData(), static_cast<uint32_t>(bytes.size()), &root);
        plist_free(root);
    }
}

} // namespace

BENCHMARK_CAPTURE(read, xml, VXPropertyList::Format::XML)->Name("plist-xml/ours")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readWithLibplist, xml, VXPropertyList::Format::XML)
    ->Name("plist-xml/peer")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read, binary, VXPropertyList::Format::Binary)
    ->Name("plist-binary/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readWithLibplist, binary, VXPropertyList::Format::Binary)
    ->Name("plist-binary/peer")
    ->Unit(benchmark::kMillisecond);
