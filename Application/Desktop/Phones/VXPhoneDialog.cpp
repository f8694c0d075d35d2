#include "VXPhoneDialog.h"

#include "VXApplication.h"
#include "VXDesktopText.h"
#include "VXDevicePlugin.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceURL.h"
#include "VXFoundPhones.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QRegularExpression>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

const QString gammuPlugin = u"com.halvern.VNX2.GammuPhone"_s;

QString identifierFrom(const QString &name)
{
    static const QRegularExpression others(u"[^a-z0-9]+"_s);
    QString identifier = name.toLower().replace(others, u"-"_s);
    while (identifier.startsWith(u'-'))
        identifier.remove(0, 1);
    while (identifier.endsWith(u'-'))
        identifier.chop(1);
    return identifier.isEmpty() ? u"phone"_s : identifier;
}

// A URL of no other device, nor of one whose identifier begins like it, since it would share that one's preferences.
QUrl freeURL(const QString &plugin, const QString &base)
{
    const VXDeviceRegistry &registry = VXDeviceRegistry::shared();
    for (int number = 1;; ++number) {
        const QString identifier = number == 1 ? base : u"%1-%2"_s.arg(base).arg(number);
        const QUrl url = VXMakeDeviceURL({}, plugin, identifier);
        if (!registry.isKnown(url) && registry.devicesSharingPreferences(url).isEmpty())
            return url;
    }
}

} // namespace

VXPhoneDialog::VXPhoneDialog(const QUrl &url, QWidget *parent)
    : QDialog(parent), _url(url), _plugin(url.isEmpty() ? QString() : VXDeviceURLComponent(url, 0)),
      _name(new QLineEdit(this)), _way(new QComboBox(this)), _places(new QStackedWidget(this)),
      _found(new VXFoundPhones(_plugin, this)), _address(new QLineEdit(this)), _folder(new QLineEdit(this)),
      _problem(new VXTextLabel({}, VXTextLabel::Role::Body, this))
{
    setWindowTitle(url.isEmpty() ? VXText("Add a phone") : VXText("Phone settings"));
    setMinimumWidth(520);
    _name->setPlaceholderText(VXText("What you call it, as “My Nokia”"));
    _way->addItem(VXSymbol::named(u"search"_s), VXText("What was found"), int(Way::Found));
    _way->addItem(VXSymbol::named(u"phone"_s), VXText("A Bluetooth address"), int(Way::Bluetooth));
    _way->addItem(VXSymbol::named(u"folder"_s), VXText("A folder, to try without a phone"), int(Way::Folder));
    _address->setPlaceholderText(u"00:11:22:33:44:55"_s);
    _address->setAccessibleName(VXText("Bluetooth address"));
    _folder->setAccessibleName(VXText("Folder"));
    _problem->setProperty("vxTone", u"bad"_s);
    for (QWidget *const page : {static_cast<QWidget *>(_found), makeBluetoothPage(), makeFolderPage()})
        _places->addWidget(page);

    auto *const form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(VXText("Name"), _name);
    if (hasWays()) {
        form->addRow(VXText("Connected by"), _way);
        form->addRow(VXText("Where"), _places);
    } else { // its plugin finds it by itself
        _way->hide();
        _places->hide();
    }
    auto *const buttons = new QDialogButtonBox(this);
    _done = buttons->addButton(url.isEmpty() ? VXText("Add") : VXText("Done"), QDialogButtonBox::AcceptRole);
    buttons->addButton(VXText("Cancel"), QDialogButtonBox::RejectRole);
    _done->setDefault(true);
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(14);
    column->addLayout(form);
    column->addWidget(_problem);
    column->addWidget(buttons);

    connect(_way, &QComboBox::currentIndexChanged, this, &VXPhoneDialog::update);
    connect(_found, &VXFoundPhones::choiceDidChange, this, &VXPhoneDialog::takeChoice);
    for (QLineEdit *const edit : {_name, _address, _folder})
        connect(edit, &QLineEdit::textChanged, this, &VXPhoneDialog::update);
    connect(buttons, &QDialogButtonBox::accepted, this, &VXPhoneDialog::apply);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    load();
    takeChoice();
}

QWidget *VXPhoneDialog::makeBluetoothPage()
{
    auto *const page = new QWidget(this);
    auto *const column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(_address);
    column->addWidget(
        new VXTextLabel(VXText("Pair the phone in your desktop's Bluetooth settings first; they show its address."),
                        VXTextLabel::Role::Secondary));
    column->addStretch();
    return page;
}

QWidget *VXPhoneDialog::makeFolderPage()
{
    auto *const page = new QWidget(this);
    auto *const row = new QHBoxLayout(page);
    row->setContentsMargins(0, 0, 0, 0);
    auto *const choose = new QPushButton(VXText("Choose…"));
    choose->setAutoDefault(false);
    row->addWidget(_folder, 1, Qt::AlignTop);
    row->addWidget(choose, 0, Qt::AlignTop);
    connect(choose, &QPushButton::clicked, this, &VXPhoneDialog::chooseFolder);
    return page;
}

bool VXPhoneDialog::hasWays() const
{
    return _plugin.isNull() || _plugin == gammuPlugin;
}

void VXPhoneDialog::load()
{
    const VXDevicePlugin::Ptr device = _url.isEmpty() ? nullptr : VXDevicePlugin::deviceAtURL(_url);
    if (!device)
        return;
    const auto text = [&](const QString &key) { return device->preferenceForKey(key).toString(); };
    _name->setText(device->localizedDescription());
    const QString connection = text(u"connection"_s);
    const QString port = text(u"port"_s);
    const Way way = connection == "none"_L1            ? Way::Folder
                    : connection.startsWith("blue"_L1) ? Way::Bluetooth
                                                       : Way::Found;
    _way->setCurrentIndex(int(way));
    if (way == Way::Folder)
        _folder->setText(port);
    else if (way == Way::Bluetooth)
        _address->setText(port);
    else
        _found->choosePort(port);
}

// A name that nobody typed follows the selection.
void VXPhoneDialog::takeChoice()
{
    const auto chosen = _found->chosen();
    if (chosen && _url.isEmpty() && !_name->isModified())
        _name->setText(chosen->name);
    update();
}

void VXPhoneDialog::update()
{
    _places->setCurrentIndex(_way->currentIndex());
    _problem->hide();
    const bool isReached = !hasWays() || !preferences().isEmpty();
    _done->setEnabled(!_name->text().trimmed().isEmpty() && isReached);
}

void VXPhoneDialog::chooseFolder()
{
    VXOpenPanel panel;
    panel.message = VXText("Choose the folder that stands for the phone");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
    if (!chosen.path.isNull())
        _folder->setText(chosen.path);
}

// How it is reached; empty as long as that is not specified.
QVariantMap VXPhoneDialog::preferences() const
{
    const QString address = _address->text().trimmed();
    const QString folder = _folder->text().trimmed();
    switch (static_cast<Way>(_way->currentData().toInt())) {
    case Way::Found:
        return _found->chosen().value_or(VXFoundDevice()).preferences;
    case Way::Bluetooth:
        return address.isEmpty() ? QVariantMap() : QVariantMap{{u"connection"_s, u"blueat"_s}, {u"port"_s, address}};
    case Way::Folder:
        return folder.isEmpty()
                   ? QVariantMap()
                   : QVariantMap{{u"connection"_s, u"none"_s}, {u"model"_s, u"dummy"_s}, {u"port"_s, folder}};
    }
    return {};
}

void VXPhoneDialog::apply()
{
    QVariantMap all = hasWays() ? preferences() : QVariantMap();
    all.insert(u"name"_s, _name->text().trimmed());
    if (!_url.isEmpty()) {
        if (const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(_url)) {
            for (const auto &[key, value] : all.asKeyValueRange())
                device->setPreference(value, key);
        }
        accept();
        return;
    }
    const auto found = Way(_way->currentData().toInt()) == Way::Found ? _found->chosen() : std::nullopt;
    const QUrl url =
        found ? freeURL(found->plugin, found->identifier) : freeURL(gammuPlugin, identifierFrom(_name->text()));
    VXError error;
    if (VXDeviceRegistry::shared().add(url, all, &error)) {
        _url = url;
        accept();
        return;
    }
    _problem->setText(error.localizedDescription() + u' ' + error.localizedRecoverySuggestion());
    _problem->show();
}
