// The scan of a thousand plugin bundles beside libplist's parse of their Info.plist files; a start with enabled
// plugins beside the loader's own work for them, and how it grows with their number; look-ups, which allocate nothing.

#include "VXFolders.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginScanner.h"
#include "VXPrincipalClass.h"
#include "VXPropertyList.h"
#include "VXUserDefaults.h"

#include <benchmark/benchmark.h>
#include <plist/plist.h>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <dlfcn.h>
#include <functional>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// -- Every allocation of the process is counted, those of libraries too.

namespace {

std::atomic<int64_t> allocations = 0;

} // namespace

extern "C" {

// The C library's own names.
void *__libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void *__libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void *__libc_realloc(void *memory, std::size_t size);     // NOLINT(bugprone-reserved-identifier)

void *malloc(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

void *realloc(void *memory, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}
}

namespace {

// -- Bundles

QString folder(const QString &name)
{
    static const QTemporaryDir home;
    return home.filePath(name);
}

QString identifierOf(int64_t number)
{
    return u"com.example.plugin.%1"_s.arg(number, 4, 10, QChar(u'0'));
}

QString writeBundle(const QString &into, int64_t number, const QString &version, const QStringList &dependencies,
                    bool hasCode)
{
    const QString identifier = identifierOf(number);
    const QString path = into + u'/' + identifier + ".vxplugin"_L1;
    QDir().mkpath(path + "/Contents/Linux"_L1);
    const QVariantMap info{{u"CFBundleIdentifier"_s, identifier},
                           {u"CFBundleName"_s, u"Plugin %1"_s.arg(number)},
                           {u"CFBundleVersion"_s, version},
                           {u"CFBundleShortVersionString"_s, u"2.0"_s},
                           {u"CFBundleInfoDictionaryVersion"_s, u"6.0"_s},
                           {u"CFBundleDevelopmentRegion"_s, u"en"_s},
                           {u"CFBundlePackageType"_s, u"BNDL"_s},
                           {u"CFBundleExecutable"_s, u"BenchmarkPlugin.so"_s},
                           {u"CFBundleIconFile"_s, u"plugin"_s},
                           {u"NSPrincipalClass"_s, u"BenchmarkPlugin"_s},
                           {u"NSHumanReadableCopyright"_s, u"Copyright of the authors"_s},
                           {u"VXPluginName"_s, u"Plugin %1"_s.arg(number)},
                           {u"VXPluginClass"_s, hasCode ? VXPluginKind::Phonebook : VXPluginKind::all()[number % 5]},
                           {u"VXPluginDependencies"_s, dependencies}};
    VXPropertyList::toFile(info, path + "/Contents/Info.plist"_L1, VXPropertyList::Format::XML);
    if (hasCode)
        QFile::copy(QStringLiteral(VORNIX_BENCHMARK_PLUGIN), path + "/Contents/Linux/BenchmarkPlugin.so"_L1);
    return path;
}

// -- Scan

struct ScanInput
{
    QString application = folder(u"scan/application"_s);
    QString shared = folder(u"scan/shared"_s);
    QList<QByteArray> infoFiles;

    // Of each of 500 plugins the shared folder has the newer copy.
    ScanInput()
    {
        for (int number = 0; number < 500; ++number) {
            for (const auto &[into, version] : {std::pair{application, u"2000.1"_s}, std::pair{shared, u"2000.2"_s}})
                infoFiles.append(
                    QFile::encodeName(writeBundle(into, number, version, {}, false) + "/Contents/Info.plist"_L1));
        }
    }

    static const ScanInput &input()
    {
        static const ScanInput input;
        return input;
    }
};

void scan(benchmark::State &state)
{
    const ScanInput &input = ScanInput::input();
    VXPluginScanner scanner({input.application, input.shared}, input.shared);
    for (auto _ : state) {
        if (scanner.latestPluginPaths().size() != 500)
            state.SkipWithError("the scan went wrong");
    }
    state.SetItemsProcessed(state.iterations() * input.infoFiles.size());
    state.counters["allowed"] = 1.5;
}

bool readWithLibplist(const QByteArray &path)
{
    std::FILE *const file = std::fopen(path.constData(), "rb");
    if (file == nullptr)
        return false;
    std::string text;
    std::fseek(file, 0, SEEK_END);
    text.resize(static_cast<std::size_t>(std::ftell(file)));
    std::rewind(file);
    const std::size_t length = std::fread(text.data(), 1, text.size(), file);
    std::fclose(file);
    plist_t root = nullptr;
    plist_from_memory(text.data(), static_cast<uint32_t>(length), &root);
    const bool isRead = root != nullptr;
    plist_free(root);
    return isRead;
}

void parseWithLibplist(benchmark::State &state)
{
    const ScanInput &input = ScanInput::input();
    for (auto _ : state) {
        for (const QByteArray &path : input.infoFiles) {
            if (!readWithLibplist(path))
                state.SkipWithError("a file could not be read");
        }
    }
    state.SetItemsProcessed(state.iterations() * input.infoFiles.size());
}

// -- Start, each in a process of its own

// What the work answers when it is done in a child process; negative when that failed.
double inFreshProcess(const std::function<double()> &work)
{
    int ends[2];
    if (::pipe(ends) != 0)
        return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        const double answer = work();
        ::_exit(::write(ends[1], &answer, sizeof answer) == sizeof answer ? 0 : 1);
    }
    ::close(ends[1]);
    double answer = -1;
    if (::read(ends[0], &answer, sizeof answer) != sizeof answer)
        answer = -1;
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return answer;
}

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

enum class Shape { Chain, Fan };

// A home folder with so many plugins: in a chain each needs the one before, in a fan all need the first.
struct StartInput
{
    QString home;
    QStringList identifiers;
    QStringList paths;

    static const StartInput &input(Shape shape, int64_t count)
    {
        static std::map<std::pair<Shape, int64_t>, StartInput> inputs;
        StartInput &input = inputs[{shape, count}];
        if (!input.home.isNull())
            return input;
        input.home = folder(u"%1-%2"_s.arg(int(shape)).arg(count));
        for (int64_t number = 0; number < count; ++number) {
            const int64_t needed = shape == Shape::Chain ? number - 1 : 0;
            const QStringList dependencies = number == 0 ? QStringList() : QStringList{identifierOf(needed)};
            input.paths.append(
                writeBundle(input.home + "/.local/share/Vornix 2/PlugIns"_L1, number, u"2000"_s, dependencies, true));
            input.identifiers.prepend(identifierOf(number));
        }
        return input;
    }
};

bool startIn(const StartInput &input)
{
    VXSetHomeFolder(input.home);
    VXUserDefaults::standardUserDefaults().setObject(input.identifiers, u"plugins"_s);
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    manager.startup();
    const VXPluginProxy *const last = manager.pluginWithIdentifier(input.identifiers.first());
    return last != nullptr && last->isLoaded();
}

void start(benchmark::State &state, Shape shape)
{
    const StartInput &input = StartInput::input(shape, state.range(0));
    for (auto _ : state) {
        const double seconds = inFreshProcess([&] {
            const auto begin = std::chrono::steady_clock::now();
            return startIn(input) ? secondsSince(begin) : -1;
        });
        if (seconds < 0)
            state.SkipWithError("the start went wrong");
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The floor under every start: the bundles' information is read, their code loaded.
void loadCode(benchmark::State &state, Shape shape)
{
    const StartInput &input = StartInput::input(shape, state.range(0));
    for (auto _ : state) {
        const double seconds = inFreshProcess([&] {
            const auto begin = std::chrono::steady_clock::now();
            for (const QString &path : input.paths) {
                const QByteArray contents = QFile::encodeName(path) + "/Contents/";
                void *const code = ::dlopen((contents + "Linux/BenchmarkPlugin.so").constData(), RTLD_NOW | RTLD_LOCAL);
                if (!readWithLibplist(contents + "Info.plist") || code == nullptr ||
                    ::dlsym(code, VXPrincipalClassSymbol) == nullptr)
                    return -1.0;
            }
            return secondsSince(begin);
        });
        if (seconds < 0)
            state.SkipWithError("the code could not be loaded");
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// -- Look-ups among 200 plugins

void lookUp(benchmark::State &state, void (*look)(const VXPluginManager &, const QString &identifier))
{
    constexpr int64_t count = 1'000'000;
    const StartInput &input = StartInput::input(Shape::Fan, 200);
    for (auto _ : state) {
        const double seconds = inFreshProcess([&]() -> double {
            if (!startIn(input))
                return -1;
            const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
            look(manager, input.identifiers[0]); // what is remembered is found at first use
            const int64_t before = allocations;
            const auto begin = std::chrono::steady_clock::now();
            for (int64_t number = 0; number < count; ++number)
                look(manager, input.identifiers[number % 200]);
            const double time = secondsSince(begin);
            return allocations == before ? time : -1;
        });
        if (seconds < 0)
            state.SkipWithError("the look-up went wrong, or allocated");
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void lookUpByIdentifier(const VXPluginManager &manager, const QString &identifier)
{
    benchmark::DoNotOptimize(manager.pluginWithIdentifier(identifier));
}

void lookUpByKind(const VXPluginManager &manager, const QString &)
{
    benchmark::DoNotOptimize(manager.reactorPlugins());
}

} // namespace

BENCHMARK(scan)->Name("plugin-scan/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(parseWithLibplist)->Name("plugin-scan/peer")->Unit(benchmark::kMillisecond);

#define START_BENCHMARK(function, shape, name)                                                                         \
    BENCHMARK_CAPTURE(function, shape, Shape::shape)                                                                   \
        ->Name(name)                                                                                                   \
        ->ArgsProduct({{25, 50, 100, 200}})                                                                            \
        ->UseManualTime()                                                                                              \
        ->Unit(benchmark::kMillisecond)
// Growth: the time for one plugin stays the same.
START_BENCHMARK(start, Chain, "plugin-start-chain/ours");
START_BENCHMARK(loadCode, Chain, "plugin-start-chain/peer");
START_BENCHMARK(start, Fan, "plugin-start-fan/ours");
START_BENCHMARK(loadCode, Fan, "plugin-start-fan/peer");

BENCHMARK_CAPTURE(lookUp, identifier, lookUpByIdentifier)->Name("plugin-by-identifier")->UseManualTime();
BENCHMARK_CAPTURE(lookUp, kind, lookUpByKind)->Name("plugin-by-kind")->UseManualTime();
