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

/** The contents of the export sheet. */
class VX_INTERFACE_EXPORT VXExportView : public QWidget
{
    Q_OBJECT

public:
    /** The controller must outlive the view. */
    explicit VXExportView(VXExportSheetController &controller, QWidget *parent = nullptr);
    ~VXExportView() override;

    /** The options as set at present. */
    QVariantMap options() const;
    /** Stores the options, except for the file, as the initial ones of the next sheet. */
    void rememberOptions() const;
    /** Why the export is not possible yet; null when it is. */
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
