#include "VXRecordsExport.h"

#include "VXDataManager.h"
#include "VXDesktopText.h"
#include "VXDesktopWork.h"
#include "VXManagedObjectContext.h"

#include <QtWidgets/QWidget>

namespace {

constexpr qsizetype batchSize = 200;

} // namespace

void VXExportRecords(QWidget *widget, const VXPersistentStoreCoordinator::Ptr &coordinator,
                     const VXFetchRequest &request,
                     const std::function<QVariantMap(const VXManagedObjectPtr &)> &recordOf, const QString &name)
{
    VXFetchRequest wanted = request;
    wanted.batchSize = batchSize;
    wanted.includesPendingChanges = false;
    VXWorkInBackground<QVariantList>(
        widget, VXText("Preparing an export: %1").arg(name),
        [coordinator, wanted, recordOf](VXWorkControl &control) {
            QVariantList records;
            VXManagedObjectContext context(coordinator);
            const auto found = context.executeFetchRequest(wanted);
            if (!found)
                return records;
            control.activity().setMaxValue(double(found->size()));
            for (const VXManagedObjectPtr &object : *found) {
                if (control.isStopped())
                    break;
                if (!object->isFault()) // otherwise it has disappeared in the meantime
                    records.append(recordOf(object));
                control.activity().increment();
            }
            return records;
        },
        [widget, name](const QVariantList &records) {
            VXDataManager::sharedDataManager().exportObjects(records, name, widget->window(), nullptr, {});
        });
}
