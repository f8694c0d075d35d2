// Contacts and messages of a phone, read and synchronised over a message bus, beside a bare client that asks the same daemon
// for the same and throws it away. "held" is the longest time, in milliseconds, that the main thread worked and its event loop did
// not come round; "grown" how much larger the process was at its largest, in megabytes. BenchmarkPhone plays the daemon; with
// VORNIX_LYING_PHONE=lies, for a run by hand, its messages say of themselves what cannot be, and VORNIX_PHONE_MESSAGES is how many.

#include "VXAndroidPhone.h"
#include "VXConnectNames.h"
#include "VXDataManager.h"
#include "VXDeviceURL.h"
#include "VXFolders.h"
#include "VXMetaDataDebt.h"
#include "VXMetaDataSync.h"
#include "VXPluginManager.h"
#include "VXUserDefaults.h"

#include <benchmark/benchmark.h>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtDBus/QDBusPendingCallWatcher>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace VXConnectNames;

namespace {

constexpr int contactCount = 10'000;
const int messageCount = qEnvironmentVariableIsSet("VORNIX_PHONE_MESSAGES")
                             ? qEnvironmentVariableIntValue("VORNIX_PHONE_MESSAGES")
                             : 100'000;
const QString phoneID = u"phone"_s;

void check(bool isTrue, const char *what)
{
    if (!isTrue)
        throw std::runtime_error(what);
}

/** How long at most this thread worked between two rounds of its event loop; what other programs took of the time does not count. */
class Pulse
{
public:
    Pulse()
    {
        QObject::connect(&_timer, &QTimer::timeout, [this] { note(); });
        _timer.setTimerType(Qt::PreciseTimer);
        _timer.start(1);
    }
    double longestInMilliseconds()
    {
        note();
        return _longest;
    }

private:
    void note()
    {
        const double now = worked();
        _longest = std::max(_longest, now - _last);
        _last = now;
    }
    static double worked()
    {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
    }

    QTimer _timer;
    double _last = worked();
    double _longest = 0;
};

/** The largest that this process was since the last beginning, in megabytes. */
class PeakMemory
{
public:
    PeakMemory()
    {
        QFile reset(u"/proc/self/clear_refs"_s);
        if (reset.open(QIODevice::WriteOnly))
            reset.write("5");
        _before = read();
    }
    double grown() const { return read() - _before; }

private:
    static double read()
    {
        QFile status(u"/proc/self/status"_s);
        check(status.open(QIODevice::ReadOnly), "no /proc");
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmHWM:"))
                return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
        }
        return 0;
    }

    double _before;
};

/** A home folder, a bus in it, the daemon on the bus, and the phone as a device with the plugins that keep what is on it. */
class Setting
{
public:
    static Setting &shared()
    {
        static Setting setting;
        return setting;
    }

    QString cards() const { return _data + "/kpeoplevcard/kdeconnect-"_L1 + phoneID; }
    QDBusConnection connection() { return _connection; }

    void perform(benchmark::State &state, const QString &name)
    {
        Pulse pulse;
        const PeakMemory memory;
        const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(name);
        QEventLoop loop;
        action->executeWithDevice(phone, [&loop](VXDeviceAction *) { loop.quit(); });
        if (action->isExecuting())
            loop.exec();
        state.counters["held"] = pulse.longestInMilliseconds();
        state.counters["grown"] = memory.grown();
        state.counters["allowed"] = 1.3;
        if (const VXError error = action->error(); !error.isNull())
            state.SkipWithError(qPrintable(error.description()));
    }
    /** Until what was saved is mirrored for searches, so that whoever is measured next has the machine to itself. */
    static void settle()
    {
        QEventLoop loop;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &loop, [&loop] {
            const QList<VXMetaDataSync::Ptr> syncs = VXMetaDataSync::launchedSyncs();
            if (!VXMetaDataDebt::isAnyOfAll() && std::ranges::none_of(syncs, &VXMetaDataSync::needsUpdate))
                loop.quit();
        });
        timer.start(100);
        loop.exec();
    }

private:
    Setting()
    {
        VXSetHomeFolder(_home.path());
        _data = VXFindFolder(VXFolderType::ApplicationSupport, VXFolderDomain::User);
        _bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s,
                                      "--address=unix:path="_L1 + _home.filePath(u"bus"_s)});
        check(_bus.waitForReadyRead(), "no bus");
        const QString address = QString::fromLocal8Bit(_bus.readLine()).trimmed();
        _daemon.start(QStringLiteral(VORNIX_BENCHMARK_PHONE),
                      {address, _data + "/kpeoplevcard"_L1, QString::number(contactCount),
                       QString::number(messageCount), qEnvironmentVariable("VORNIX_LYING_PHONE")});
        check(_daemon.waitForReadyRead(), "no daemon");
        _connection = QDBusConnection::connectToBus(address, u"bare"_s);
        loadPlugins();
        const QUrl url = VXMakeDeviceURL({}, u"com.halvern.VNX2.AndroidPhone"_s, u"mine"_s);
        VXUserDefaults::standardUserDefaults().setObject(address, VXMakeDevicePreferenceKey(url, u"bus"_s));
        phone = std::make_shared<VXAndroidPhone>();
        check(phone->initWithURL(url), "no phone");
        VXDevicePlugin::addDevice(phone);
        // Once it is there, it looks what lies there: everybody hears the daemon's answers.
        QEventLoop loop;
        QObject::connect(phone.get(), &VXBusDevice::connectionDidChange, &loop, [&] {
            if (phone->isConnected())
                QTimer::singleShot(3000, &loop, &QEventLoop::quit);
        });
        loop.exec();
    }
    ~Setting()
    {
        phone->pluginWillUnload();
        for (QProcess *const process : {&_daemon, &_bus}) {
            process->terminate();
            process->waitForFinished();
        }
    }
    void loadPlugins() const
    {
        const std::filesystem::path plugins = _home.filePath(u".local/share/Vornix 2/PlugIns"_s).toStdString();
        std::filesystem::create_directories(plugins);
        for (const std::filesystem::path plugin :
             {VORNIX_OUTBOX_PLUGIN, VORNIX_MESSAGES_PLUGIN, VORNIX_PHONEBOOK_PLUGIN})
            std::filesystem::copy(plugin, plugins / plugin.filename(), std::filesystem::copy_options::recursive);
        VXPluginManager::sharedPluginManager().startup();
        for (const QString &store : {u"messages"_s, u"phonebook"_s})
            check(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(store) != nullptr, "no store");
    }

    const QTemporaryDir _home;
    QString _data;
    QProcess _bus;
    QProcess _daemon;
    QDBusConnection _connection{QString()};

public:
    std::shared_ptr<VXAndroidPhone> phone;
};

/** Asks as one must, and counts what comes. */
class BareClient : public QObject
{
    Q_OBJECT

public:
    explicit BareClient(QDBusConnection connection) : _connection(std::move(connection))
    {
        _connection.connect(service, {}, conversations, {}, this, SLOT(heard(QDBusMessage)));
        _connection.connect(service, {}, contacts, {}, this, SLOT(heard(QDBusMessage)));
        _quiet.setSingleShot(true);
        _quiet.setInterval(2000); // there is no sign of the last conversation
        connect(&_quiet, &QTimer::timeout, this, &BareClient::readNext);
    }
    void readMessages()
    {
        _found = 0;
        ask(path(phoneID), conversations, u"requestAllConversationThreads"_s);
        _loop.exec();
    }
    void readContacts()
    {
        ask(path(phoneID, u"contacts"_s), contacts, u"synchronizeRemoteWithLocal"_s);
        _loop.exec();
    }

private Q_SLOTS:
    void heard(const QDBusMessage &signal)
    {
        const bool isListing = _thread < 0;
        if (signal.member() == "localCacheSynchronized"_L1) {
            _loop.quit();
        } else if (signal.member() == "conversationLoaded"_L1) {
            const QVariantList arguments = signal.arguments();
            if (isListing) {
                _threads.append(arguments.value(0).toLongLong());
                _quiet.start();
            } else if (arguments.value(0).toLongLong() == _thread) {
                _left = arguments.value(1).toInt();
                ask(path(phoneID), conversations, u"requestConversation"_s, {_thread, 0, _left});
            }
        } else if (!isListing && signal.member() == "conversationUpdated"_L1) {
            ++_found;
            if (--_left == 0)
                readNext();
        }
    }
    void readNext()
    {
        if (_threads.isEmpty()) {
            _thread = -1;
            check(_found == messageCount, "the bare client lost messages");
            return _loop.quit();
        }
        _thread = _threads.takeFirst();
        ask(path(phoneID, u"sms"_s), sms, u"requestConversation"_s, {_thread, qint64(-1), qint64(-1)});
    }

private:
    void ask(const QString &object, const QString &interface, const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage call = QDBusMessage::createMethodCall(service, object, interface, method);
        call.setArguments(arguments);
        _connection.asyncCall(call);
    }

    QDBusConnection _connection;
    QTimer _quiet;
    QEventLoop _loop;
    QList<qint64> _threads;
    qint64 _thread = -1; // the one that is read
    int _left = 0;       // of it
    int _found = 0;
};

void readByAction(benchmark::State &state, const char *action)
{
    Setting &setting = Setting::shared();
    for (auto _ : state)
        setting.perform(state, QString::fromLatin1(action));
    Setting::settle();
}

void readMessagesBarely(benchmark::State &state)
{
    BareClient client(Setting::shared().connection());
    for (auto _ : state)
        client.readMessages();
}

void readContactsBarely(benchmark::State &state)
{
    const QDir folder(Setting::shared().cards());
    const std::filesystem::path cards = folder.path().toStdString();
    const std::filesystem::path aside = cards.string() + "-before";
    BareClient client(Setting::shared().connection());
    for (auto _ : state) {
        // The daemon fetches only cards that it has not, so whoever wants all of them takes those away.
        if (folder.exists())
            std::filesystem::rename(cards, aside);
        std::filesystem::create_directory(cards);
        client.readContacts();
        qsizetype size = 0;
        for (const QString &name : folder.entryList({u"*.vcf"_s}, QDir::Files)) {
            QFile file(folder.filePath(name));
            check(file.open(QIODevice::ReadOnly), "a card is gone");
            size += file.readAll().size();
        }
        check(size > contactCount, "the cards are empty");
        std::filesystem::remove_all(aside);
    }
}

} // namespace

// clang-format off
#define VX_SLOW ->Iterations(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime()
BENCHMARK_CAPTURE(readByAction, contacts, "read_contacts")->Name("phone-read-contacts/ours") VX_SLOW;
BENCHMARK(readContactsBarely)->Name("phone-read-contacts/peer") VX_SLOW;
BENCHMARK_CAPTURE(readByAction, messages, "read_messages")->Name("phone-read-messages/ours") VX_SLOW;
BENCHMARK(readMessagesBarely)->Name("phone-read-messages/peer") VX_SLOW;
// The first time everything is new.
BENCHMARK_CAPTURE(readByAction, contacts, "sync_contacts")->Name("phone-sync-contacts/ours") VX_SLOW ->Repetitions(1);
BENCHMARK(readContactsBarely)->Name("phone-sync-contacts/peer") VX_SLOW ->Repetitions(1);
BENCHMARK_CAPTURE(readByAction, messages, "sync_messages")->Name("phone-sync-messages/ours") VX_SLOW ->Repetitions(1);
BENCHMARK(readMessagesBarely)->Name("phone-sync-messages/peer") VX_SLOW ->Repetitions(1);
// clang-format on

#include "PhoneBenchmark.moc"
