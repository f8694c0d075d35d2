#include "VXContactFiles.h"

#include "VXCardReader.h"
#include "VXContactHistory.h"
#include "VXContactImport.h"
#include "VXDesktopText.h"
#include "VXDesktopWork.h"
#include "VXErrorDomain.h"
#include "VXNoticeBar.h"
#include "VXSection.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

void undoImport(VXSection &section, const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    VXError error;
    const auto undone = VXContactHistory(coordinator).undoLast(false, &error);
    if (undone)
        section.notices().showDone(VXText("The import was undone."));
    else
        section.notices().showProblem(error.localizedDescription());
}

} // namespace

void VXImportContacts(VXSection &section, const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &path)
{
    struct Outcome
    {
        std::optional<VXContactImportReport> report;
        VXError error;
    };
    const QString name = QFileInfo(path).fileName();
    VXWorkInBackground<Outcome>(
        &section, VXText("Importing %1").arg(name),
        [coordinator, path, name] {
            Outcome outcome;
            QFile file(path);
            if (!file.open(QFile::ReadOnly)) {
                outcome.error = VXMakeError(file.errorString());
                return outcome;
            }
            VXCardReader reader(file);
            outcome.report = VXContactImport(coordinator, name).run(reader, &outcome.error);
            return outcome;
        },
        [&section, coordinator, name](const Outcome &outcome) {
            if (!outcome.report) {
                section.notices().showProblem(
                    VXText("%1 could not be imported: %2").arg(name, outcome.error.localizedDescription()));
                return;
            }
            const VXContactImportReport &report = *outcome.report;
            QStringList parts{VXText("%1 new contact", "%1 new contacts", report.added)};
            if (report.changed > 0)
                parts << VXText("%1 completed", "%1 completed", report.changed);
            if (report.same > 0)
                parts << VXText("%1 already there", "%1 already there", report.same);
            if (report.leftOut > 0)
                parts << VXText("%1 could not be read", "%1 could not be read", report.leftOut);
            const bool isUndoable = report.added + report.changed > 0;
            section.notices().showDone(parts.join(", "_L1) + u'.', isUndoable ? VXText("Undo") : QString(),
                                       [&section, coordinator] { undoImport(section, coordinator); });
        });
}
