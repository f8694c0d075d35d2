#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QPointer>
#include <QtCore/QVariant>
#include <QtWidgets/QWidget>

class QComboBox;
class QLineEdit;
class QPushButton;
class QVBoxLayout;
class VXExporterPlugin;
class VXExportSheetController;
class VXOptionsForm;
class VXTextLabel;

/** What stands on the export sheet. */
class VX_INTERFACE_EXPORT VXExportView : public QWidget
{
    Q_OBJECT

public:
    /** The controller outlives the view. */
    explicit VXExportView(VXExportSheetController &controller, QWidget *parent = nullptr);
    ~VXExportView() override;

    /** The options as they stand. */
    QVariantMap options() const;
    /** Has the sheet begin with them the next time, but for the file. */
    void rememberOptions() const;
    /** Why it cannot be exported yet; null when it can. */
    QString problem() const;

Q_SIGNALS:
    void okWanted();
    void cancelWanted();

private:
    VXExporterPlugin *exporter() const;
    bool takesFile() const;
    void selectFormat(int index);
    void chooseFile();
    void update();
    QString title() const;

    VXExportSheetController &_controller;
    QComboBox *const _format;
    QWidget *const _place;
    QLineEdit *const _path;
    QVBoxLayout *const _optionsPlace;
    QPointer<VXOptionsForm> _form;
    VXTextLabel *const _problem;
    QPushButton *const _ok;
};
