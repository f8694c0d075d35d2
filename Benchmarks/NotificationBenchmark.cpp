// Posting a notification beside emitting a Qt signal with as many direct connections.

#include "VXNotificationCenter.h"

#include <benchmark/benchmark.h>
#include <QtCore/QObject>

using namespace Qt::StringLiterals;

namespace {

class Sender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void posted(const QVariant &object, const QVariantMap &userInfo);
};

void postNotification(benchmark::State &state)
{
    VXNotificationCenter center;
    const VXNotificationName name(u"VXBenchmarkDidPostNotification"_s);
    QObject context;
    quint64 calls = 0;
    for (int64_t index = 0; index < state.range(0); ++index)
        center.addObserver(&context, name, [&calls](const VXNotification &) { ++calls; });
    const QVariant object = QVariant::fromValue(&context);
    for (auto _ : state)
        center.postNotificationName(name, object);
    benchmark::DoNotOptimize(calls);
    state.counters["allowed"] = 1.5;
}

void emitSignal(benchmark::State &state)
{
    Sender sender;
    QObject context;
    quint64 calls = 0;
    for (int64_t index = 0; index < state.range(0); ++index) {
        QObject::connect(
            &sender, &Sender::posted, &context, [&calls](const QVariant &, const QVariantMap &) { ++calls; },
            Qt::DirectConnection);
    }
    const QVariant object = QVariant::fromValue(&context);
    for (auto _ : state)
        Q_EMIT sender.posted(object, {});
    benchmark::DoNotOptimize(calls);
}

} // namespace

BENCHMARK(postNotification)->Name("notification/ours")->Arg(1)->Arg(10)->Arg(1000);
BENCHMARK(emitSignal)->Name("notification/peer")->Arg(1)->Arg(10)->Arg(1000);

#include "NotificationBenchmark.moc"
