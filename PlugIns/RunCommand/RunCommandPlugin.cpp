#include "VXBackgroundReactor.h"
#include "VXCommand.h"
#include "VXCommandEnvironment.h"
#include "VXException.h"
#include "VXFolders.h"
#include "VXMethodLog.h"
#include "VXNone.h"
#include "VXPluginOptions.h"
#include "VXPrincipalClass.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumCommands = 4; // at once
constexpr size_t maximumWaiting = 1000;
constexpr double standardTimeout = 30; // seconds
constexpr double longestTimeout = 24 * 60 * 60;

QString outcomeText(const VXCommandOutcome &outcome)
{
    if (outcome.startProblem != 0)
        return u"did not start: "_s + qt_error_string(outcome.startProblem);
    QString text = u"ended with status %1"_s.arg(outcome.status);
    if (outcome.isStopped)
        text = u"was ended because nobody wanted to wait for it"_s;
    else if (outcome.isTimedOut)
        text = u"was ended when its time was over"_s;
    else if (outcome.signal != 0)
        text = u"was ended by signal %1 (%2)"_s.arg(outcome.signal)
                   .arg(QString::fromLatin1(::sigdescr_np(outcome.signal)));
    const QString errors = QString::fromLocal8Bit(outcome.errorTail).trimmed();
    return errors.isEmpty() ? text : text + u"; its error output ends with: "_s + errors;
}

} // namespace

/** Runs a program of the user's choice. The poster of the event does not wait for its end. */
class RunCommandPlugin : public VXBackgroundReactor
{
    Q_OBJECT

public:
    Q_INVOKABLE RunCommandPlugin() : VXBackgroundReactor(maximumCommands, maximumWaiting) {}

    void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override
    {
        VXCommand command = commandFor(options);
        const VXEvent event{eventName, subtype, object};
        command.environment = VXCommandEnvironment(event);
        command.input = VXCommandInput(event);
        const VXReactionOutcome outcome = deferOutcome();
        command.stop = std::make_shared<VXCommandStop>();
        outcome.setCancelHandler([stop = command.stop] { stop->request(); });
        if (!_queue.add([this, command, outcome] { run(command, outcome); }))
            fail(u"Too many commands are waiting already."_s);
    }

    VXReactorOptions reactorOptions() const override
    {
        using Type = VXReactorOption::Type;
        return describedOptions(
            {{.key = u"program"_s,
              .type = Type::Program,
              .meaning = u"The program to run: a path, or a name that is looked up."_s,
              .isNeeded = true},
             {.key = u"arguments"_s, .type = Type::Any, .meaning = u"What it is given; a text is one argument."_s},
             {.key = u"timeout"_s, .type = Type::Number, .meaning = u"After how many seconds it is ended."_s},
             {.key = u"useShell"_s,
              .type = Type::Boolean,
              .meaning = u"Whether the program is a command line for the shell."_s}});
    }
    QString problemOfOptions(const QVariantMap &options) const override
    {
        try {
            (void)commandFor(options);
        } catch (const VXException &exception) {
            return exception.reason();
        }
        return {};
    }

private:
    VXCommand commandFor(const QVariantMap &options) const
    {
        const QString program = VXExpandTilde(options.value(u"program"_s).toString());
        const QVariant timeout = options.value(u"timeout"_s);
        const double seconds = VXIsNone(timeout) ? standardTimeout : timeout.toDouble();
        if (program.isEmpty())
            fail(u"No program to run is set."_s);
        if (!(seconds > 0 && seconds <= longestTimeout))
            fail(u"The time-out must be a number of seconds, up to a day."_s);
        VXCommand command;
        command.timeout = std::chrono::milliseconds(static_cast<qint64>(seconds * 1000));
        command.workingFolder = QFile::encodeName(QDir::homePath());
        const QVariant arguments = options.value(u"arguments"_s);
        for (const QString &argument : VXIsNone(arguments) ? QStringList() : arguments.toStringList())
            command.arguments.append(argument.toLocal8Bit());
        if (VXBooleanOption(options, u"useShell"_s, false)) {
            command.program = "/bin/sh";
            command.arguments = QList<QByteArray>{"-c", program.toLocal8Bit(), "sh"} + command.arguments;
        } else {
            command.program = QFile::encodeName(pathOf(program));
        }
        return command;
    }

    QString pathOf(const QString &program) const
    {
        // The meaning of a relative path would depend on where the application was started.
        const bool isPath = program.contains(u'/');
        const QString path =
            isPath && !QFileInfo(program).isAbsolute() ? QString() : QStandardPaths::findExecutable(program);
        if (path.isEmpty() && QFileInfo(program).isAbsolute() && QFileInfo(program).isFile())
            fail(u"\"%1\" is not executable; \"chmod +x\" makes it so."_s, program);
        if (path.isEmpty())
            fail(u"\"%1\" is no program that can be run."_s, program);
        return path;
    }

    [[noreturn]] void fail(const QString &reason, const QString &argument = {}) const
    {
        const VXBundle::Ptr found = bundle();
        const QString text = found ? found->localizedStringForKey(reason) : reason;
        throw VXException(u"RunCommandException"_s, argument.isNull() ? text : text.arg(argument));
    }

    void run(const VXCommand &command, const VXReactionOutcome &reaction) const
    {
        const VXCommandOutcome outcome = command.run();
        const QString text = u"%1 %2"_s.arg(QFile::decodeName(command.program), outcomeText(outcome));
        VXLogMethod(outcome.isSuccess() ? VXLogInfo : VXLogError, "reactToEventWithName:subtype:object:options:", text);
        reaction.conclude(outcome.isSuccess() ? QString() : text);
    }
};

VX_PRINCIPAL_CLASS(RunCommandPlugin)

#include "RunCommandPlugin.moc"
