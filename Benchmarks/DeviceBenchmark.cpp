// Dispatching a device action whose handler concludes at once beside a functor posted through Qt's event loop; looking
// up a live device from four threads; reading per-device preferences among few and among many keys.

#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXFolders.h"
#include "VXUserDefaults.h"

#include <benchmark/benchmark.h>
#include <QtCore/QCoreApplication>
#include <QtCore/QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

// Quiet, and with a home of its own: preferences must not be the user's.
void useFreshHome()
{
    static const QTemporaryDir home;
    static const bool isSet = [] {
        VXSetHomeFolder(home.path());
        return true;
    }();
    Q_UNUSED(isSet);
}

class Phone : public VXDevicePlugin
{
    Q_OBJECT

public:
    explicit Phone(const QString &identifier)
    {
        useFreshHome();
        initWithURL(VXMakeDeviceURL({}, u"org.example.phone"_s, identifier));
        registerActionHandler(u"ping"_s, this, "ping");
    }
    QString name() const override { return u"Phone"_s; }
    Q_INVOKABLE void ping(VXDeviceAction *action) { action->conclude(); }
};

// -- Dispatch

void dispatchAction(benchmark::State &state)
{
    const VXDevicePlugin::Ptr phone = std::make_shared<Phone>(u"dispatch"_s);
    int64_t completions = 0;
    for (auto _ : state)
        VXDeviceAction::actionWithName(u"ping"_s)->executeWithDevice(
            phone, [&completions](VXDeviceAction *) { ++completions; });
    if (completions != state.iterations())
        state.SkipWithError("an action did not complete");
    state.counters["allowed"] = 2;
}

void postFunctor(benchmark::State &state)
{
    QObject receiver;
    int64_t calls = 0;
    for (auto _ : state) {
        QMetaObject::invokeMethod(
            &receiver, [&calls] { ++calls; }, Qt::QueuedConnection);
        QCoreApplication::sendPostedEvents();
    }
    if (calls != state.iterations())
        state.SkipWithError("a functor was not called");
}

// -- Look-up

void lookUpLiveDevice(benchmark::State &state)
{
    static const QUrl url = [] {
        for (int number = 0; number < 10; ++number)
            VXDevicePlugin::addDevice(VXDevicePlugin::hold(new Phone(u"live %1"_s.arg(number))));
        return VXMakeDeviceURL({}, u"org.example.phone"_s, u"live 5"_s);
    }();
    for (auto _ : state) {
        if (VXDevicePlugin::deviceAtURL(url) == nullptr)
            state.SkipWithError("there is no such device");
    }
    state.SetItemsProcessed(state.iterations());
}

// -- Preferences

// "ours" among ten thousand keys of other devices, "peer" among ten: the ratio stays near 1.
void readPreference(benchmark::State &state, int64_t keys)
{
    static int64_t keysThere = 0;
    Phone phone(u"preferences"_s);
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const auto key = [](int64_t number) { return u"org.example.phone.device %1.port"_s.arg(number); };
    while (keysThere < keys)
        defaults.setObject(1, key(keysThere++));
    while (keysThere > keys)
        defaults.removeObjectForKey(key(--keysThere));
    phone.setPreference(1, u"port"_s);
    for (auto _ : state) {
        if (phone.preferenceForKey(u"port"_s).toInt() != 1)
            state.SkipWithError("the preference is not there");
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["allowed"] = 1.5;
}

} // namespace

BENCHMARK(dispatchAction)->Name("device-action/ours");
BENCHMARK(postFunctor)->Name("device-action/peer");
BENCHMARK(lookUpLiveDevice)->Name("device-at-url")->Threads(1)->UseRealTime();
BENCHMARK(lookUpLiveDevice)->Name("device-at-url")->Threads(4)->UseRealTime();
BENCHMARK_CAPTURE(readPreference, few, 10)->Name("device-preference/peer");
BENCHMARK_CAPTURE(readPreference, many, 10'000)->Name("device-preference/ours");

#include "DeviceBenchmark.moc"
