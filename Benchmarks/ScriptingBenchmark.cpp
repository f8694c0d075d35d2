// A property read over the bridge beside a bare call over D-Bus, both of the same object on a bus of the benchmark's own.

#include "VXAppleScriptBridge.h"
#include "VXDesktopServices.h"

#include <benchmark/benchmark.h>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusInterface>
#include <QtDBus/QDBusMessage>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString playerName = u"org.mpris.MediaPlayer2.bench"_s;
const QString playerPath = u"/org/mpris/MediaPlayer2"_s;

class Player : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ status)

public:
    QString status() const { return u"Playing"_s; }
};

/** The bus, and the player with a connection and a thread of its own. */
class Desktop
{
public:
    static Desktop &shared()
    {
        static Desktop desktop;
        return desktop;
    }

private:
    Desktop()
    {
        const QByteArray address = "unix:path=" + _folder.filePath(u"bus"_s).toUtf8();
        const QByteArray command =
            "echo $$; exec dbus-daemon --session --nofork --print-address=1 --address=" + address;
        _bus = ::popen(command.constData(), "r");
        char line[1000];
        if (_bus == nullptr || std::fgets(line, sizeof line, _bus) == nullptr)
            std::abort();
        _process = std::atoi(line);
        if (std::fgets(line, sizeof line, _bus) == nullptr) // it is there
            std::abort();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        QDBusConnection connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"player"_s);
        _player.moveToThread(&_thread);
        connection.registerObject(playerPath, &_player, QDBusConnection::ExportAllProperties);
        if (!connection.registerService(playerName))
            std::abort();
        _thread.start();
    }
    ~Desktop()
    {
        _thread.quit();
        _thread.wait();
        QDBusConnection::disconnectFromBus(u"player"_s);
        ::kill(_process, SIGTERM);
        ::pclose(_bus);
    }

    QTemporaryDir _folder;
    std::FILE *_bus = nullptr;
    pid_t _process = 0;
    Player _player;
    QThread _thread;
};

void readOverBridge(benchmark::State &state)
{
    Desktop::shared();
    VXAppleScriptBridge bridge(playerName, VXMakeScriptingTransport());
    for (auto _ : state) {
        const auto status = bridge.getAppleScriptPropertyForKeyword(VXCode("pPst"));
        if (!status || status->stringValue() != "Playing"_L1)
            state.SkipWithError("no answer");
    }
    state.counters["allowed"] = 1.5;
}

void readBare(benchmark::State &state)
{
    Desktop::shared();
    QDBusInterface interface(playerName, playerPath, u"org.freedesktop.DBus.Properties"_s);
    for (auto _ : state) {
        const QDBusMessage reply = interface.call(u"Get"_s, u"org.mpris.MediaPlayer2.Player"_s, u"PlaybackStatus"_s);
        if (reply.arguments().value(0).value<QDBusVariant>().variant().toString() != "Playing"_L1)
            state.SkipWithError("no answer");
    }
}

} // namespace

BENCHMARK(readOverBridge)->Name("script-property/ours")->UseRealTime();
BENCHMARK(readBare)->Name("script-property/peer")->UseRealTime();

#include "ScriptingBenchmark.moc"
