#pragma once

#include "VXExportSheetController.h"
#include "VXInterfaceExport.h"

#include <QtCore/QPointer>

#include <memory>

class QWidget;
class VXExportView;
class VXSheet;

/**
 * The sheet that asks where to export objects to: their number, the format, the file and the format's options. Export
 * is disabled, with a reason, until these are complete. The last choices are kept. Main thread only.
 */
class VX_INTERFACE_EXPORT VXExportSheet : public VXExportSheetController
{
public:
    /** Shown on the widget's window; without a widget, in a window of its own. */
    VXExportSheet(const QVariantList &objects, const QString &descriptiveClassName, QWidget *window);
    ~VXExportSheet() override;

    /** The file, and what the user set. */
    std::optional<QVariantMap> selectedExporterOptions() const override;

    /** Has the data manager use this class for its export sheets. */
    static void install();

private:
    QPointer<VXSheet> _sheet;
    QPointer<VXExportView> _view;
    std::optional<QVariantMap> _options; // at the time when it ended
    std::unique_ptr<QWidget> _ownWindow;
};
