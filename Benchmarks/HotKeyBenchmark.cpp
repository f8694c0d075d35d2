// A press, from the service's event to the target's selector, beside a Qt signal from one object to another.

#include "VXHotKeyManager.h"
#include "VXUserDefaults.h"

#include <benchmark/benchmark.h>
#include <QtCore/QObject>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

/** Accepts everything; presses are the benchmark's. */
class Service : public VXHotKeyService
{
public:
    QString name() const override { return u"benchmark"_s; }
    QString problem() const override { return {}; }
    quint32 installListener() override { return VXHotKeyDone; }
    quint32 registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref) override
    {
        last = request.hotKeyID;
        *ref = ++_lastRef;
        return VXHotKeyDone;
    }
    quint32 unregisterHotKey(VXHotKeyRef) override { return VXHotKeyDone; }

    VXHotKeyID last;

private:
    VXHotKeyRef _lastRef = 0;
};

class Target : public QObject
{
    Q_OBJECT

public:
    quint64 presses = 0;

    Q_INVOKABLE void press(const QString &identifier) { presses += quint64(identifier.size()); }
};

class Sender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void pressed(const QString &identifier);
};

void pressHotKey(benchmark::State &state)
{
    QVariantMap settings;
    for (int64_t index = 0; index < state.range(0); ++index)
        settings.insert(u"command-%1"_s.arg(index), u"%1 1048576 Super+Key%1"_s.arg(index + 1));
    VXUserDefaults::standardUserDefaults().registerDefaults({{u"hot-keys"_s, settings}});
    VXHotKeyManager manager;
    auto made = std::make_unique<Service>();
    Service &service = *made;
    manager.setService(std::move(made));
    Target target;
    for (auto entry = settings.cbegin(); entry != settings.cend(); ++entry)
        manager.registerHotKeyWithIdentifier(entry.key(), u"Command"_s, &target, "press");
    const VXHotKeyID pressed = service.last;
    for (auto _ : state)
        Q_EMIT service.hotKeyPressed(pressed);
    if (target.presses == 0)
        state.SkipWithError("nothing was pressed");
    state.counters["allowed"] = 3;
}

void emitSignal(benchmark::State &state)
{
    Sender sender;
    Target target;
    QObject::connect(&sender, &Sender::pressed, &target, &Target::press, Qt::DirectConnection);
    const QString identifier = u"command-0"_s;
    for (auto _ : state)
        Q_EMIT sender.pressed(identifier);
    benchmark::DoNotOptimize(target.presses);
}

} // namespace

// However many there are, a press takes as long: the peer, and what is allowed, are the same.
BENCHMARK(pressHotKey)->Name("hotkey-press/ours")->Arg(1)->Arg(10000);
BENCHMARK(emitSignal)->Name("hotkey-press/peer")->Arg(1)->Arg(10000);

#include "HotKeyBenchmark.moc"
