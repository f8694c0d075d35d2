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
#include "VXReactorRegistry.h"

#include <QtCore/QPointer>

#include <utility>

using namespace Qt::StringLiterals;

// The export sheet is implemented here, beside the exporters, so that the stores need not know of these.

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

void VXDataManager::setExportRunner(ExportRunner runner)
{
    _exportRunner = std::move(runner);
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
        if (returnCode != VXExportSheetController::Ok)
            return sheet->tellDelegate(VXExportSheetController::Cancelled);
        const auto done = [sheet](const std::optional<VXError> &error) {
            if (error)
                VXApplication::sharedApplication().presentError(*error);
            sheet->tellDelegate(error ? VXExportSheetController::Cancelled : VXExportSheetController::Ok);
        };
        const ExportWork work = workOfSelectedExporter(*controller);
        if (_exportRunner)
            _exportRunner(work, done);
        else
            done(work());
    };
    if (const std::optional<int> code = sheet->controller->returnCode()) // the sheet ended while it was being shown
        end(*code);
    else
        sheet->controller->setEndHandler(end);
}

// Does what belongs to the main thread here; the returned work keeps the exporter alive.
VXDataManager::ExportWork VXDataManager::workOfSelectedExporter(const VXExportSheetController &controller)
{
    const QString text = VXLocalizedString(u"Unable to export."_s);
    const QString identifier = controller.selectedExporterIdentifier();
    VXPluginProxy *const plugin = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    if (plugin == nullptr)
        return [text] { return VXMakeFileError(text, VXLocalizedString(u"There is no exporter."_s), {}); };
    VXExporterPlugin *exporter = nullptr;
    QVariantMap options;
    QString thrown;
    const auto prepare = [&] {
        exporter = &plugin->as<VXExporterPlugin>("exportObjects:options:");
        options = VXOptionsForReactor(*exporter, controller.selectedExporterOptions().value_or(QVariantMap()));
    };
    if (!VXCallPlugin(*plugin, "exportObjects:options:", prepare, &thrown))
        return [text, thrown] { return VXMakeFileError(text, thrown, {}); };
    const VXReactorInUse inUse = VXReactorRegistry::shared().find(identifier);
    return [text, exporter, options, inUse, objects = controller.objects()]() -> std::optional<VXError> {
        std::optional<VXError> error;
        QString reason;
        const auto call = [&] { error = exporter->exportObjects(objects, options); };
        if (!VXCallPlugin(*exporter, "exportObjects:options:", call, &reason))
            error = VXMakeFileError(text, reason, {});
        return error;
    };
}
