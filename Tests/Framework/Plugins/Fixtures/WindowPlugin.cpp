#include "VXInterfacePlugin.h"
#include "VXPrincipalClass.h"

#include <QtCore/QObject>

#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

/**
 * An interface plugin that opens URLs of the scheme that "FixtureScheme" of its Info.plist names, and has a window for
 * each from then on. Those that end in "?modal" open no window but an object, those in "?fault" throw, those in "?exit",
 * "?_exit", "?_Exit", "?quick_exit", "?abort", "?smash" (the stack), "?recurse" (until a thread's stack is used up), "?late" (at
 * the program's end) and "?thread" (exit on another one) end the process; "?fork" ends a child that way. With "FixtureForgets"
 * it throws when it is asked for its windows.
 */
class WindowPlugin : public VXInterfacePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE WindowPlugin() : _info(bundle()->infoDictionary()) {}

    QVariant openURLString(const QString &url) override
    {
        if (!url.startsWith(_info.value(u"FixtureScheme"_s).toString() + u':'))
            return {};
        if (url.endsWith("?fault"_L1))
            throw std::runtime_error("no window");
        end(url.section(u'?', 1));
        if (url.endsWith("?modal"_L1))
            return QVariant::fromValue(static_cast<QObject *>(this));
        _urls.append(url);
        return u"a window of "_s + identifier();
    }

    QStringList urlStringsForOpenWindows() const override
    {
        if (_info.contains(u"FixtureForgets"_s))
            throw std::runtime_error("no memory of windows");
        return _urls;
    }

private:
    // Over its own frame and those of its callers.
    __attribute__((noinline, no_sanitize("address", "undefined"))) static void smashStack()
    {
        volatile char bytes[16] = {}; // NOLINT
        volatile char *volatile start = bytes;
        for (int at = 0; at < 4096; ++at)
            start[at] = 'A'; // NOLINT
    }

    __attribute__((noinline)) static int recurse(int depth) // NOLINT(misc-no-recursion)
    {
        volatile char frame[4096] = {}; // NOLINT
        return depth < 0 ? frame[0] : recurse(depth + 1) + frame[depth % 4096];
    }

    struct AbortsWhenItGoes
    {
        ~AbortsWhenItGoes() { std::abort(); }
    };

    static void end(const QString &how)
    {
        if (how == "recurse"_L1)
            std::thread([] { recurse(0); }).join();
        if (how == "late"_L1) [[maybe_unused]]
            static const AbortsWhenItGoes object;
        if (how == "exit"_L1)
            std::exit(0);
        if (how == "_exit"_L1)
            ::_exit(0);
        if (how == "_Exit"_L1)
            std::_Exit(0);
        if (how == "quick_exit"_L1)
            std::quick_exit(0);
        if (how == "abort"_L1)
            std::abort();
        if (how == "smash"_L1)
            smashStack();
        if (how == "thread"_L1)
            std::thread([] { std::exit(0); }).join();
        if (how == "fork"_L1 && ::fork() == 0)
            std::exit(0);
    }

    const QVariantMap _info;
    QStringList _urls;
};

VX_PRINCIPAL_CLASS(WindowPlugin)

#include "WindowPlugin.moc"
