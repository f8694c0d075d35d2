#include "VXExportView.h"

#include "VXApplication.h"
#include "VXExporterPlugin.h"
#include "VXExportSheetController.h"
#include "VXInterface.h"
#include "VXNone.h"
#include "VXOptionsForm.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXTextLabel.h"
#include "VXTextLocale.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>

using namespace Qt::StringLiterals;

namespace {

const QString folderKey = u"export.sheet.folder"_s;
const QString optionsKey = u"export.sheet.options"_s; // by exporter

QString folderOfLastTime()
{
    const QString last = VXUserDefaults::standardUserDefaults().stringForKey(folderKey);
    return QFileInfo(last).isDir() ? last : QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

VXReactorOptions describedOptions(VXExporterPlugin &exporter)
{
    VXReactorOptions options;
    VXCallPlugin(exporter, "reactorOptions", [&] { options = exporter.reactorOptions(); });
    return options;
}

} // namespace

VXExportView::VXExportView(VXExportSheetController &controller, QWidget *parent)
    : QWidget(parent), _controller(controller), _format(new QComboBox), _place(new QWidget), _path(new QLineEdit),
      _optionsPlace(new QVBoxLayout), _problem(new VXTextLabel({}, VXTextLabel::Role::Caption)),
      _ok(new QPushButton(VXInterfaceString(u"Export"_s)))
{
    auto *const heading = new VXTextLabel(title(), VXTextLabel::Role::Title);
    for (const VXExportSheetController::Item &item : controller.items())
        _format->addItem(item.title, item.identifier);
    auto *const formatLabel = new VXTextLabel(VXInterfaceString(u"Format"_s), VXTextLabel::Role::Secondary);
    formatLabel->setBuddy(_format);
    _format->setAccessibleName(formatLabel->text());
    _format->setEnabled(_format->count() > 0);

    auto *const choose = new QPushButton(VXInterfaceString(u"Choose"_s));
    choose->setAutoDefault(false);
    connect(choose, &QPushButton::clicked, this, &VXExportView::chooseFile);
    auto *const pathLabel = new VXTextLabel(VXInterfaceString(u"File"_s), VXTextLabel::Role::Secondary);
    pathLabel->setBuddy(_path);
    _path->setAccessibleName(pathLabel->text());
    auto *const placeRow = new QHBoxLayout;
    placeRow->addWidget(_path, 1);
    placeRow->addWidget(choose);
    auto *const place = new QVBoxLayout(_place);
    place->setContentsMargins(0, 0, 0, 0);
    place->setSpacing(4);
    place->addWidget(pathLabel);
    place->addLayout(placeRow);

    auto *const cancel = new QPushButton(VXInterfaceString(u"Cancel"_s));
    auto *const buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addWidget(_problem, 1);
    buttons->addWidget(cancel);
    buttons->addWidget(_ok);
    cancel->setAutoDefault(false);
    _ok->setDefault(true);
    connect(cancel, &QPushButton::clicked, this, &VXExportView::cancelWanted);
    connect(_ok, &QPushButton::clicked, this, &VXExportView::okWanted);
    connect(_path, &QLineEdit::textChanged, this, &VXExportView::update);
    connect(_path, &QLineEdit::returnPressed, _ok, &QPushButton::click);
    connect(_format, &QComboBox::currentIndexChanged, this, &VXExportView::selectFormat);

    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addWidget(heading);
    column->addSpacing(10);
    column->addWidget(formatLabel);
    column->addWidget(_format);
    column->addSpacing(8);
    column->addWidget(_place);
    column->addSpacing(8);
    column->addLayout(_optionsPlace);
    column->addStretch();
    column->addSpacing(14);
    column->addLayout(buttons);
    setMinimumWidth(fontMetrics().averageCharWidth() * 68);
    _format->setCurrentIndex(static_cast<int>(controller.selectedIndex()));
    selectFormat(_format->currentIndex());
}

VXExportView::~VXExportView() = default;

QString VXExportView::title() const
{
    const qsizetype count = _controller.objects().size();
    const QString number = VXTextLocale().toString(count);
    const QString what = _controller.descriptiveClassName();
    const QString key = what + (count == 1 ? " export title, one"_L1 : " export title"_L1);
    const QString known = VXInterfaceString(key);
    return (known != key ? known : VXInterfaceString(count == 1 ? u"Export %1 item"_s : u"Export %1 items"_s))
        .arg(number);
}

VXExporterPlugin *VXExportView::exporter() const
{
    const VXPluginProxy *const plugin =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(_controller.selectedExporterIdentifier());
    return plugin == nullptr ? nullptr : dynamic_cast<VXExporterPlugin *>(plugin->singleton().get());
}

bool VXExportView::takesFile() const
{
    VXExporterPlugin *const plugin = exporter();
    const VXReactorOptions options = plugin == nullptr ? VXReactorOptions() : describedOptions(*plugin);
    return std::ranges::any_of(
        options, [](const VXReactorOption &option) { return option.key == VXExporterOptionsFilePathKey; });
}

void VXExportView::selectFormat(int index)
{
    _controller.selectItemAtIndex(index);
    delete _form;
    _place->setVisible(takesFile());
    if (VXExporterPlugin *const plugin = exporter()) {
        VXReactorOptions options = describedOptions(*plugin);
        options.removeIf([](const VXReactorOption &option) { return option.key == VXExporterOptionsFilePathKey; });
        const QVariantMap kept = VXUserDefaults::standardUserDefaults()
                                     .dictionaryForKey(optionsKey)
                                     .value(_controller.selectedExporterIdentifier())
                                     .toMap();
        _form = new VXOptionsForm(options, kept);
        _optionsPlace->addWidget(_form);
        connect(_form, &VXOptionsForm::valuesDidChange, this, &VXExportView::update);
    }
    update();
}

void VXExportView::chooseFile()
{
    VXExporterPlugin *const plugin = exporter();
    VXSavePanel panel;
    if (plugin != nullptr)
        VXCallPlugin(*plugin, "exportPanel", [&] { panel = plugin->exportPanel(); });
    const QFileInfo present(_path->text());
    panel.directory = present.isAbsolute() && QFileInfo(present.path()).isDir() ? present.path() : folderOfLastTime();
    if (!present.fileName().isEmpty())
        panel.proposedName = present.fileName();
    const VXPanelResult result = VXApplication::sharedApplication().userInterface().runSavePanel(panel);
    if (!result.isOk())
        return;
    _path->setText(result.path);
    VXUserDefaults::standardUserDefaults().setObject(QFileInfo(result.path).path(), folderKey);
}

QVariantMap VXExportView::options() const
{
    QVariantMap options = _form ? _form->values() : QVariantMap();
    if (takesFile())
        options.insert(VXExporterOptionsFilePathKey,
                       QDir(folderOfLastTime()).absoluteFilePath(_path->text().trimmed()));
    return options;
}

void VXExportView::rememberOptions() const
{
    QVariantMap kept = options();
    kept.remove(VXExporterOptionsFilePathKey);
    const auto update = [kept, exporter = _controller.selectedExporterIdentifier()](const QVariant &stored) {
        QVariantMap all = stored.toMap();
        all.insert(exporter, kept);
        return QVariant(all);
    };
    VXUserDefaults::standardUserDefaults().updateObject(optionsKey, update);
}

QString VXExportView::problem() const
{
    if (_controller.items().isEmpty())
        return VXInterfaceString(u"No exporter is enabled."_s);
    if (takesFile() && _path->text().trimmed().isEmpty())
        return VXInterfaceString(u"Choose a file."_s);
    return _form ? _form->problem() : QString();
}

void VXExportView::update()
{
    const QString trouble = problem();
    _problem->setText(trouble);
    _ok->setEnabled(trouble.isEmpty());
    _ok->setToolTip(trouble);
}
