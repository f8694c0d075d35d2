#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginCheck.h"
#include "VXPluginKind.h"
#include "VXPluginTemplate.h"

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

// "VXInterfacePlugin" is "interface" on the command line.
QStringList shortKinds()
{
    QStringList names;
    for (const QString &kind : VXPluginKind::all())
        names.append(VXPluginKind::shortName(kind));
    return names;
}

QString quotedForShell(QString word)
{
    static const QRegularExpression plain(u"^[A-Za-z0-9_./+,@%=:-]+\\z"_s);
    return plain.match(word).hasMatch() ? word : u'\'' + word.replace(u'\'', u"'\\''"_s) + u'\'';
}

QString nextSteps(const QString &folder, const QString &identifier)
{
    const QString source = quotedForShell(folder);
    const QString build = quotedForShell(folder + "/build"_L1);
    return u"Build it, and try it from where it is built:\n\n"
           "    cmake -S %1 -B %2\n"
           "    cmake --build %2\n"
           "    export VORNIX_PLUGIN_PATH=%3\n"
           "    vornix plugins enable %4\n"_s.arg(
               source, build, quotedForShell(QDir(folder).absoluteFilePath(u"build"_s)), identifier);
}

int runNewPlugin(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const QString kind = VXPluginKind::kindForShortName(options.value(u"kind"_s));
    if (kind.isNull())
        return context.output.failUsage(u"--kind is missing: one of %1"_s.arg(shortKinds().join(", "_L1)),
                                        VXHostUsage(options.command()));
    VXError error;
    const QString name = options.operand(0);
    const QString className = VXPluginTemplate::classNameForName(name, &error);
    if (className.isNull())
        return context.output.failUsage(error.localizedDescription(), VXHostUsage(options));
    QString identifier = options.value(u"identifier"_s);
    if (identifier.isNull())
        identifier = VXPluginTemplate::identifierForClass(className);
    if (!VXPluginTemplate::isIdentifier(identifier))
        return context.output.failUsage(u"the identifier \"%1\" is not of the form org.example.name"_s.arg(identifier),
                                        VXHostUsage(options));

    const QString store = kind == VXPluginKind::Data ? VXPluginTemplate::storeForClass(className) : QString();
    if (const QString owner = VXPluginWithStore(store, identifier); !owner.isNull())
        return context.output.fail(
            u"its store would be called \"%1\", as that of the plugin %2; give it another NAME"_s.arg(store, owner));

    const QString folder = QDir::cleanPath(options.operand(1));
    VXPluginTemplate files(name, kind, identifier);
    if (!files.writeToFolder(folder, &error))
        return context.output.fail(u"%1: %2"_s.arg(error.filePath(), error.localizedDescription()));
    context.output.answer(
        u"%1 holds the plugin %2: %3.\n"_s.arg(folder, identifier, files.writtenFiles().join(", "_L1)) +
            nextSteps(folder, identifier),
        QJsonObject{{u"class"_s, className},
                    {u"files"_s, QJsonArray::fromStringList(files.writtenFiles())},
                    {u"folder"_s, QDir(folder).absolutePath()},
                    {u"identifier"_s, identifier},
                    {u"kind"_s, kind}});
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXNewPluginCommand()
{
    return {.name = u"new-plugin"_s,
            .summary = u"Write the sources of a new plugin"_s,
            .synopsis = u"NAME DIR"_s,
            .details = u"Writes a plugin that builds and loads as it is into the folder DIR, which is made if needed "
                       "and must be empty. NAME is shown to people, and makes the name of the class: \"Hello world\" "
                       "makes HelloWorldPlugin.\n"
                       "Build it with cmake -S DIR -B DIR/build && cmake --build DIR/build."_s,
            .options = {{u"kind"_s, u"KIND"_s, u"What the plugin is; needed"_s, shortKinds()},
                        {u"identifier"_s, u"ID"_s, u"Its identifier, as org.example.hello, which is unique"_s}},
            .minimumOperands = 2,
            .maximumOperands = 2,
            .run = runNewPlugin};
}
