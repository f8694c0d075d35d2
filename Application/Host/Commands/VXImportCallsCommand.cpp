#include "VXCallImport.h"
#include "VXDataManager.h"
#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXInputFile.h"
#include "VXPluginSession.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

int runImportCalls(VXHostContext &context)
{
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        const auto store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"calls"_s);
        if (!store)
            return context.output.fail(u"there is no store of calls; \"vornix log\" may tell why"_s);
        const QString path = context.options.operand(0);
        QFile file(path);
        QString reason;
        if (!VXOpenInputFile(file, &reason))
            return context.output.fail(u"%1 cannot be read: %2"_s.arg(path, reason));
        VXCallImport import(store);
        VXError error;
        if (!import.run(file, path, &error))
            return context.output.fail(error.localizedDescription());
        for (const QString &problem : import.problems())
            context.output.note(problem);
        context.output.answer(
            u"Imported %1 calls; %2 were there already, %3 could not be read.\n"_s.arg(import.addedCount())
                .arg(import.knownCount())
                .arg(import.problems().size()),
            QJsonObject{{u"added"_s, import.addedCount()},
                        {u"known"_s, import.knownCount()},
                        {u"problems"_s, QJsonArray::fromStringList(import.problems())}});
        return static_cast<int>(import.problems().isEmpty() ? VXHostOutput::Done : VXHostOutput::Failed);
    });
}

} // namespace

VXHostCommand VXImportCallsCommand()
{
    return {
        .name = u"import-calls"_s,
        .summary = u"Import calls from a table"_s,
        .synopsis = u"FILE"_s,
        .details =
            u"FILE holds values with commas, semicolons or tabs between, as \"vornix export csvexporter calls VXCall "
            "--option utc=true\" writes them: its first line "
            "names the columns, \"date\" (ISO 8601; without a zone it is the local time here) and \"from\" or \"to\" "
            "at least; \"direction\" (1 came in, 0 went out), \"duration\" (seconds, or hours:minutes:seconds), "
            "\"connectedDate\" and \"device_url\" are read too, others are passed over. Calls that are there "
            "already are left out, so that importing again changes nothing. \"-\" is standard input. It ends with "
            "status 1 when a line could not be read, though the others are taken."_s,
        .minimumOperands = 1,
        .maximumOperands = 1,
        .run = runImportCalls};
}
