#include "VXPluginUpdates.h"

#include "VXHostCommand.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginCheck.h"
#include "VXPluginManager.h"
#include "VXPluginUpdate.h"
#include "VXSignalWatcher.h"
#include "VXTextTable.h"

#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using State = VXPluginUpdate::State;

struct Words
{
    QString name; // in JSON
    QString text; // %1: the version or the reason
};

Words wordsOf(State state)
{
    switch (state) {
    case State::NotOffered:
        return {u"not-offered"_s, u"offers no updates"_s};
    case State::UpToDate:
        return {u"up-to-date"_s, u"up to date"_s};
    case State::Available:
        return {u"available"_s, u"version %1 is there"_s};
    case State::Installed:
        return {u"installed"_s, u"version %1 is installed"_s};
    case State::InstalledForNextStart:
        return {u"installed-for-next-start"_s, u"version %1 will be installed at the next start"_s};
    case State::Refused:
        return {u"refused"_s, u"refused: %1"_s};
    case State::Failed:
        return {u"failed"_s, u"failed: %1"_s};
    case State::Running:
    case State::Cancelled:
        break;
    }
    return {u"cancelled"_s, u"cancelled"_s};
}

QString textOf(const VXPluginUpdate &update)
{
    const QString text = wordsOf(update.state()).text;
    return text.contains("%1"_L1) ? text.arg(update.reason().isNull() ? update.newVersion() : update.reason()) : text;
}

QJsonObject jsonOf(const VXPluginUpdate &update)
{
    return {{u"identifier"_s, update.identifier()},
            {u"version"_s, update.installedVersion()},
            {u"newVersion"_s, VXJSONFromVariant(update.newVersion())},
            {u"state"_s, wordsOf(update.state()).name},
            {u"reason"_s, VXJSONFromVariant(update.reason())}};
}

VXPluginUpdate::Ptr run(const VXHostOptions &options, const VXPluginProxy &plugin)
{
    const auto mode = options.isSet(u"check"_s) ? VXPluginUpdate::Mode::Check : VXPluginUpdate::Mode::Install;
    VXPluginUpdate::Ptr update = VXPluginUpdate::updateOfPlugin(plugin, mode);
    update->setInspection([&](const QString &path) { return VXProblemOfPluginCode(path, options.value(u"home"_s)); });
    QEventLoop loop;
    const VXSignalWatcher interrupt({SIGINT, SIGTERM, SIGHUP}, [&](int) { update->cancel(); });
    update->start([&] { loop.quit(); });
    loop.exec();
    return update;
}

} // namespace

int VXRunPluginUpdates(VXHostContext &context, const QList<const VXPluginProxy *> &plugins)
{
    QJsonArray json;
    QList<QStringList> rows{{u"PLUGIN"_s, u"VERSION"_s, u"UPDATE"_s}};
    int status = VXHostOutput::Done;
    for (const VXPluginProxy *const plugin : plugins) {
        const VXPluginUpdate::Ptr update = run(context.options, *plugin);
        if (update->state() == State::NotOffered && plugins.size() > 1)
            continue;
        if (update->state() == State::Refused || update->state() == State::Failed ||
            update->state() == State::Cancelled)
            status = VXHostOutput::Failed;
        rows.append({update->identifier(), update->installedVersion(), textOf(*update)});
        json.append(jsonOf(*update));
        if (update->state() == State::Cancelled)
            break;
    }
    context.output.answer(json.isEmpty() ? u"No plugin offers updates.\n"_s : VXTextTable(rows), json);
    return status;
}
