#include "VXDesktop.h"

#include "VXApplication.h"
#include "VXContactsSection.h"
#include "VXCrashNote.h"
#include "VXDataManager.h"
#include "VXDesktopInstance.h"
#include "VXDesktopOpener.h"
#include "VXDesktopPictures.h"
#include "VXDesktopServices.h"
#include "VXDesktopText.h"
#include "VXDesktopWork.h"
#include "VXDeviceRegistry.h"
#include "VXFileMask.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXHotKeyManager.h"
#include "VXIdleTime.h"
#include "VXInitializeInterface.h"
#include "VXInterface.h"
#include "VXMainWindow.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataState.h"
#include "VXNewsNotices.h"
#include "VXPersistentStore.h"
#include "VXPluginManager.h"
#include "VXSessionIdleTime.h"
#include "VXSignalWatcher.h"
#include "VXThemeManager.h"
#include "VXTray.h"
#include "VXUnsearchedMirrors.h"
#include "VXUserDefaults.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QThreadPool>
#include <QtCore/QTimer>
#include <QtGui/QFontDatabase>
#include <QtGui/QIcon>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString assistedKey = u"desktop.assisted"_s; // the first start is over

// Timers, slots and events of plugins run in the event loop: exceptions from them are reported, and the program goes
// on.
class GuardedApplication : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        bool isHandled = false;
        const auto who = [receiver] {
            return "an event of "_L1 + QString::fromUtf8(receiver->metaObject()->className());
        };
        VXGuard(who, [&] { isHandled = QApplication::notify(receiver, event); });
        return isHandled;
    }
};

struct Options
{
    QString home;
    QString pictures; // a folder to write pictures into
    QString theme;    // for the pictures
    QString language;
    QStringList uris;
    bool endsWhenShown = false;
    QStringList operands; // the URIs as they were given
};

// Otherwise the heap of a thread grows by a page at a time, and each page that is written first interrupts the program. Every
// start needs the first piece; what else is taken and not used costs nothing.
void takeMemoryInLargePieces()
{
#ifdef __GLIBC__
    constexpr int piece = 4 << 20;
    ::mallopt(M_TOP_PAD, piece);
    // Set too, since the library adapts none of these once one is set: larger blocks go back to the system at once.
    ::mallopt(M_MMAP_THRESHOLD, 2 * piece);
    ::mallopt(M_TRIM_THRESHOLD, 4 * piece);
#ifdef MADV_POPULATE_WRITE
    const auto page = size_t(::sysconf(_SC_PAGESIZE));
    void *const block = std::malloc(piece); // stays in the heap when it is freed
    void *begin = block;
    size_t size = piece;
    if (block != nullptr && std::align(page, piece - page, begin, size) != nullptr)
        ::madvise(begin, piece - page, MADV_POPULATE_WRITE); // older kernels refuse: then they do it page by page
    std::free(block);
#endif
#endif
}

// If Qt finds no screen, it ends the program as if it had crashed. That is misleading, so whoever started it is told
// what to do.
void tellOfNoScreen(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtFatalMsg) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(message));
        return;
    }
    std::fputs("vornix-desktop: there is no screen to show windows on (DISPLAY, WAYLAND_DISPLAY). "
               "\"vornix\" does without one.\n",
               stderr);
    std::quick_exit(EXIT_FAILURE);
}

class ScreenTelling
{
public:
    ScreenTelling() : _before(qInstallMessageHandler(tellOfNoScreen)) {}
    ~ScreenTelling() { qInstallMessageHandler(_before); }
    ScreenTelling(const ScreenTelling &) = delete;
    ScreenTelling &operator=(const ScreenTelling &) = delete;

private:
    const QtMessageHandler _before;
};

// "--help" does not need a screen.
bool asksForText(int argc, char **argv)
{
    return std::any_of(argv + std::min(argc, 1), argv + argc, [](std::string_view argument) {
        return argument == "--help" || argument == "-h" || argument == "--version" || argument == "-v";
    });
}

Options readOptions(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption home(u"home"_s, u"Keep all of the user's folders below DIR."_s, u"DIR"_s);
    const QCommandLineOption pictures(u"pictures"_s, u"Write pictures of the windows into DIR, and end."_s, u"DIR"_s);
    parser.setApplicationDescription(
        u"Contacts, messages and calls, in step with your phones.\n\n"
        "What you keep lies in ~/.local/share/Vornix 2/Data ($XDG_DATA_HOME), a folder for each kind, and preferences\n"
        "in ~/.config/Vornix 2 ($XDG_CONFIG_HOME)."_s);
    const QCommandLineOption theme(u"theme"_s, u"With --pictures: light or dark."_s, u"THEME"_s);
    const QCommandLineOption language(u"language"_s, u"With --pictures: en or de."_s, u"LANGUAGE"_s);
    QCommandLineOption untilShown(u"until-shown"_s, u"End as soon as the window is painted, to be measured."_s);
    untilShown.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({home, pictures, theme, language, untilShown});
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(u"URI"_s, u"What to open: tel: and sms: URLs, vCard files, plugins."_s, u"[URI...]"_s);
    parser.process(arguments);
    QStringList uris;
    for (const QString &each : parser.positionalArguments()) // resolved here, whoever opens it
        uris.append(each.contains(u':') ? each : QFileInfo(each).absoluteFilePath());
    return {parser.value(home),       parser.value(pictures),      parser.value(theme), parser.value(language), uris,
            parser.isSet(untilShown), parser.positionalArguments()};
}

// The desktop's keys and selection; if there are none, the preferences say why.
void connectToDesktop()
{
    VXApplication::sharedApplication().workspace().setSelectedTextSource(VXReadSelectedText);
    VXIdleTime::setSource(VXSessionIdleTime);
    VXHotKeyManager::sharedHotKeyManager().setService(VXMakeHotKeyService());
}

void prepare()
{
    VXInitializeFramework();
    VXInitializeInterface();
    VXRegisterDefaultsOfBundle(*VXBundle::mainBundle());
    VXScriptingTransport::setMaker([] { return VXMakeScriptingTransport(); });
    VXInitializeInterfaceKit();
    VXDataManager::sharedDataManager().setExportRunner([](const auto &work, const auto &done) {
        VXWorkInBackground<std::optional<VXError>>(qApp, VXText("Exporting"), work, done);
    });
    static_cast<void>(VXThemeManager::sharedThemeManager());
}

// The first text needs the list of all fonts, which takes as long as loading the plugins: it is read beside that. The environment,
// where fontconfig looks, changes no more.
void readFontsMeanwhile()
{
    QThreadPool::globalInstance()->start([] { static_cast<void>(QFontDatabase::families()); });
}

void follow(VXDesktopInstance &instance, VXMainWindow &window)
{
    QObject::connect(&instance, &VXDesktopInstance::wantsActivation, &window, &VXMainWindow::activate);
    // Opening may ask the user something; whoever passes a URI does not wait for that.
    const auto open = [&window](const QStringList &uris) {
        window.activate();
        VXDesktopOpener(window).open(uris);
    };
    QObject::connect(&instance, &VXDesktopInstance::wantsOpen, &window, open, Qt::QueuedConnection);
    QObject::connect(&window, &VXMainWindow::wantsOpen, &window, open, Qt::QueuedConnection);
    QObject::connect(&instance, &VXDesktopInstance::wantsAction, &window, [&window](const QString &name) {
        window.activate();
        if (name == "new-message"_L1)
            window.writeMessage({});
    });
}

bool isFirstStart()
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    if (defaults.boolForKey(assistedKey))
        return false;
    defaults.setObject(true, assistedKey);
    return true;
}

void removeUnsearchedMirrors()
{
    QThreadPool::globalInstance()->start([identifiers = VXUnsearchedMirrors()] {
        for (const QString &identifier : identifiers)
            static_cast<void>(VXMetaDataRemoval::remove(identifier));
    });
}

int runWindow(const Options &options, VXDesktopInstance &instance, const VXCrashNote &crash)
{
    auto pause = std::make_unique<VXStyleSheetPause>();
    VXMainWindow window;
    pause.reset();
    follow(instance, window);
    if (!options.pictures.isNull()) {
        VXThemeManager &themes = VXThemeManager::sharedThemeManager();
        const VXThemeChoice chosen = themes.choice();
        if (!options.theme.isNull())
            themes.setChoice(options.theme == "dark"_L1 ? VXThemeChoice::Dark : VXThemeChoice::Light);
        const bool isDone = VXWritePictures(window, options.pictures);
        themes.setChoice(chosen);
        VXApplication::sharedApplication().terminate();
        return isDone ? 0 : 1;
    }
    std::optional<VXTray> tray;
    std::optional<VXNewsNotices> news;
    VXApplication &application = VXApplication::sharedApplication();
    const VXSignalWatcher signals({SIGINT, SIGTERM}, [&](int) {
        QMetaObject::invokeMethod(
            &window,
            [&] {
                std::ranges::for_each(window.sections(), &VXSection::commit); // nobody is there to be asked
                application.terminate();
            },
            Qt::QueuedConnection);
    });
    QObject::connect(&window, &VXMainWindow::didShow, &window, [&] {
        if (options.endsWhenShown)
            return application.terminate();
        tray.emplace(window);
        news.emplace(window);
        connectToDesktop();
        VXDeviceRegistry::shared().makeKnownDevices();
        removeUnsearchedMirrors();
        VXDesktopOpener(window).open(options.uris);
        if (crash.before())
            window.tellOfCrash(*crash.before());
        if (isFirstStart() && options.uris.isEmpty() && window.hasNothing())
            window.assist();
    });
    window.show();
    return QApplication::exec();
}

int runAmongPlugins(const Options &options, VXDesktopInstance &instance)
{
    const VXCrashNote crash;
    VXApplication &application = VXApplication::sharedApplication();
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    application.setDidFinishLaunching(false);
    manager.startup();
    application.setDidFinishLaunching(true);
    // A store that could not be opened: the user was told.
    const int status = application.isTerminating() ? 1 : runWindow(options, instance, crash);
    QThreadPool::globalInstance()->waitForDone();
    manager.shutdown();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return status;
}

} // namespace

int VXDesktop::run(int argc, char **argv)
{
    takeMemoryInLargePieces();
    VXLetUserHaveOwnFiles();
    for (const int each : {SIGPIPE, SIGXFSZ})
        std::signal(each, SIG_IGN);
    QApplication::setDesktopFileName(VXDesktopInstance::busName);
    QApplication::setApplicationName(u"vornix-desktop"_s);
    QApplication::setApplicationDisplayName(u"Vornix"_s);
    QApplication::setApplicationVersion(VXFrameworkVersion());
    if (asksForText(argc, argv)) {
        QCoreApplication terminal(argc, argv);
        static_cast<void>(readOptions(QCoreApplication::arguments())); // prints the reason and ends the program
    }
    auto telling = std::make_unique<ScreenTelling>();
    const GuardedApplication application(argc, argv);
    telling.reset();
    const Options options = readOptions(QApplication::arguments());
    if (!options.home.isNull()) {
        QDir().mkpath(options.home);
        VXSetHomeFolder(QDir(options.home).absolutePath());
    }
    // With a home folder of its own it is a separate program.
    const bool isShared = options.home.isNull() && options.pictures.isNull();
    if (isShared && VXDesktopInstance::handOver(options.uris))
        return 0;
    VXDesktopInstance instance;
    if (isShared && !instance.take())
        return VXDesktopInstance::handOver(options.uris) ? 0 : 1;
    if (!options.language.isNull()) {
        VXBundle::setPreferredLanguages({options.language});
        QLocale::setDefault(QLocale(options.language));
    }
    readFontsMeanwhile();
    prepare();
    QApplication::setWindowIcon(QIcon(VXBundle::mainBundle()->pathForResource(u"Vornix"_s, u"svg"_s)));
    QApplication::setQuitOnLastWindowClosed(false);
    int status = runAmongPlugins(options, instance);
    VXPersistentStore::closeAll();
    VXMetaDataState::noteClosedStores();
    VXError error;
    if (!VXUserDefaults::standardUserDefaults().synchronize(&error) ||
        !VXApplication::sharedApplication().relaunchIfDue(&error, options.operands)) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(error.localizedDescription()));
        status = 1;
    }
    return status;
}
