#include "VXExportSheet.h"

#include "VXDataManager.h"
#include "VXExportView.h"
#include "VXSheet.h"

#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

VXExportSheet::VXExportSheet(const QVariantList &objects, const QString &descriptiveClassName, QWidget *window)
    : VXExportSheetController(objects, descriptiveClassName), _view(new VXExportView(*this))
{
    if (window == nullptr)
        window = QApplication::activeWindow();
    if (window == nullptr) {
        _ownWindow = std::make_unique<QWidget>();
        _ownWindow->resize(720, 560);
        _ownWindow->show();
        window = _ownWindow.get();
    }
    _sheet = new VXSheet(_view);
    QObject::connect(_view, &VXExportView::okWanted, _sheet, [sheet = _sheet] { sheet->end(VXSheet::Ok); });
    QObject::connect(_view, &VXExportView::cancelWanted, _sheet, [sheet = _sheet] { sheet->end(VXSheet::Cancelled); });
    QObject::connect(_sheet, &VXSheet::didEnd, _sheet, [this](int returnCode) {
        if (_view && returnCode == VXSheet::Ok) {
            _options = _view->options();
            _view->rememberOptions();
        }
        if (returnCode == VXSheet::Ok)
            OKAction();
        else
            cancelAction(); // may delete this
    });
    _sheet->beginOnWindow(*window);
}

VXExportSheet::~VXExportSheet()
{
    // One of their buttons may have caused this: they are deleted when the event is over.
    if (_sheet) {
        _sheet->disconnect();
        _sheet->end(VXSheet::Cancelled);
    }
    if (_ownWindow) {
        _ownWindow->hide();
        _ownWindow.release()->deleteLater();
    }
}

std::optional<QVariantMap> VXExportSheet::selectedExporterOptions() const
{
    return _options ? _options : _view ? std::optional(_view->options()) : std::nullopt;
}

void VXExportSheet::install()
{
    VXDataManager::sharedDataManager().setExportSheetPresenter(
        [](const QVariantList &objects, const QString &className, QObject *window) {
            return std::make_unique<VXExportSheet>(objects, className, qobject_cast<QWidget *>(window));
        });
}
