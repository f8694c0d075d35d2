#pragma once

#include "VXExportSheetController.h"
#include "VXInterfaceExport.h"

#include <QtCore/QPointer>

#include <memory>

class QWidget;
class VXExportView;
class VXSheet;

/**
 * The sheet that asks where to export objects to: how many there are, the format, the file and the format's options. It stays off
 * with a reason until they are complete, and keeps the choices that were made last. Main thread only.
 */
class VX_INTERFACE_EXPORT VXExportSheet : public VXExportSheetController
{
public:
    /** Shown on the window of the widget; without one in a window of its own. */
    VXExportSheet(const QVariantList &objects, const QString &descriptiveClassName, QWidget *window);
    ~VXExportSheet() override;

    /** With the file and what the user set. */
    std::optional<QVariantMap> selectedExporterOptions() const override;

    /** Has the data manager show its export sheets so. */
    static void install();

private:
    QPointer<VXSheet> _sheet;
    QPointer<VXExportView> _view;
    std::optional<QVariantMap> _options; // as they were when it ended
    std::unique_ptr<QWidget> _ownWindow;
};
