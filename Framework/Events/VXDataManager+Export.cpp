#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXExporterPlugin.h"
#include "VXExportSheetController.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXReaction.h"

#include <QtCore/QPointer>

#include <utility>

using namespace Qt::StringLiterals;

// The export sheet, which stands beside the exporters: so the stores know nothing of them.

struct VXDataManager::ExportSheet
{
    std::unique_ptr<VXExportSheetController> controller;
    QPointer<QObject> window;
    QPointer<QObject> delegate;
    QByteArray selector;
    QVariant userInfo;

    void tellDelegate(int returnCode) const
    {
        VXInvocation::withMethod(delegate, selector, {QVariant::fromValue(window.data()), returnCode, userInfo})
            .invoke();
    }
};

void VXDataManager::setExportSheetPresenter(ExportSheetPresenter presenter)
{
    _exportSheetPresenter = std::move(presenter);
}

void VXDataManager::exportObjects(const QVariantList &objects, const QString &descriptiveClassName, QObject *window,
                                  QObject *delegate, const QByteArray &selector, const QVariant &userInfo)
{
    VXAssert(delegate == nullptr || VXInvocation::respondsTo(delegate, selector, 3),
             u"The delegate of an export does not respond to %1"_s.arg(QString::fromUtf8(selector)));
    const auto sheet = std::make_shared<ExportSheet>(ExportSheet{nullptr, window, delegate, selector, userInfo});
    if (_exportSheetPresenter)
        sheet->controller = _exportSheetPresenter(objects, descriptiveClassName, window);
    if (!sheet->controller) {
        VXLogMethod(VXLogWarning, "exportObjects:descriptiveClassName:fromWindow:delegate:selector:userInfo:",
                    u"there is nobody to show an export sheet"_s);
        sheet->tellDelegate(VXExportSheetController::Cancelled);
        return;
    }
    const auto end = [this, sheet](int returnCode) {
        const std::unique_ptr<VXExportSheetController> controller = std::move(sheet->controller);
        const bool isExported = returnCode == VXExportSheetController::Ok && exportWithSelectedExporter(*controller);
        sheet->tellDelegate(isExported ? VXExportSheetController::Ok : VXExportSheetController::Cancelled);
    };
    if (const std::optional<int> code = sheet->controller->returnCode()) // it ended while it was shown
        end(*code);
    else
        sheet->controller->setEndHandler(end);
}

bool VXDataManager::exportWithSelectedExporter(const VXExportSheetController &controller) const
{
    VXPluginProxy *const plugin =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(controller.selectedExporterIdentifier());
    const QString text = VXLocalizedString(u"Unable to export."_s);
    std::optional<VXError> error;
    if (plugin == nullptr) {
        error = VXMakeFileError(text, VXLocalizedString(u"There is no exporter."_s), {});
    } else {
        QString thrown;
        const auto call = [&] {
            auto &exporter = plugin->as<VXExporterPlugin>("exportObjects:options:");
            const QVariantMap chosen = controller.selectedExporterOptions().value_or(QVariantMap());
            error = exporter.exportObjects(controller.objects(), VXOptionsForReactor(exporter, chosen));
        };
        if (!VXCallPlugin(*plugin, "exportObjects:options:", call, &thrown))
            error = VXMakeFileError(text, thrown, {});
    }
    if (error)
        VXApplication::sharedApplication().presentError(*error);
    return !error;
}
