#include "VXPhoneDialog.h"

#include "VXApplication.h"
#include "VXDesktopText.h"
#include "VXDevicePlugin.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceURL.h"
#include "VXPluginManager.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

const QString pluginIdentifier = u"com.halvern.VNX2.GammuPhone"_s;

// What the kernel says of the thing behind a port, as "Nokia 6230"; empty for nothing.
QString productAt(const QString &port)
{
    const QString link = u"/sys/class/tty/%1/device"_s.arg(QFileInfo(port).fileName());
    QDir folder(QFileInfo(link).canonicalFilePath());
    for (int depth = 0; depth < 4; ++depth) {
        QFile file(folder.filePath(u"product"_s));
        if (file.open(QFile::ReadOnly))
            return QString::fromUtf8(file.readAll()).trimmed();
        if (!folder.cdUp())
            break;
    }
    return {};
}

QStringList portsThatThereAre()
{
    QStringList ports;
    for (const QString &name : QDir(u"/dev"_s).entryList({u"ttyACM*"_s, u"ttyUSB*"_s, u"rfcomm*"_s}, QDir::System))
        ports.append(u"/dev/"_s + name);
    return ports;
}

QString identifierFrom(const QString &name)
{
    static const QRegularExpression others(u"[^a-z0-9]+"_s);
    QString identifier = name.toLower().replace(others, u"-"_s);
    while (identifier.startsWith(u'-'))
        identifier.remove(0, 1);
    while (identifier.endsWith(u'-'))
        identifier.chop(1);
    const QString base = identifier.isEmpty() ? u"phone"_s : identifier;
    QUrl url;
    int number = 1;
    do { // others' identifiers that begin like it would share its preferences
        identifier = number == 1 ? base : u"%1-%2"_s.arg(base).arg(number);
        url = VXMakeDeviceURL({}, pluginIdentifier, identifier);
        ++number;
    } while (VXDeviceRegistry::shared().isKnown(url) ||
             !VXDeviceRegistry::shared().devicesSharingPreferences(url).isEmpty());
    return identifier;
}

} // namespace

VXPhoneDialog::VXPhoneDialog(const QUrl &url, QWidget *parent)
    : QDialog(parent), _url(url), _name(new QLineEdit(this)), _way(new QComboBox(this)),
      _places(new QStackedWidget(this)), _ports(new QListWidget(this)),
      _noPorts(new VXTextLabel({}, VXTextLabel::Role::Secondary, this)), _address(new QLineEdit(this)),
      _folder(new QLineEdit(this)), _problem(new VXTextLabel({}, VXTextLabel::Role::Body, this))
{
    setWindowTitle(url.isEmpty() ? VXText("Add a phone") : VXText("Phone settings"));
    setMinimumWidth(480);
    _name->setPlaceholderText(VXText("What you call it, as “My Nokia”"));
    _way->addItem(VXSymbol::named(u"phone"_s), VXText("USB cable"), int(Way::Cable));
    _way->addItem(VXSymbol::named(u"phone"_s), VXText("Bluetooth"), int(Way::Bluetooth));
    _way->addItem(VXSymbol::named(u"folder"_s), VXText("A folder, to try without a phone"), int(Way::Folder));
    _address->setPlaceholderText(u"00:11:22:33:44:55"_s);
    _problem->setProperty("vxTone", u"bad"_s);
    _ports->setProperty("vxFramed", true);
    _ports->setAccessibleName(VXText("Ports"));
    _ports->setMinimumHeight(120);

    auto *const cable = new QWidget(this);
    auto *const cableColumn = new QVBoxLayout(cable);
    cableColumn->setContentsMargins(0, 0, 0, 0);
    auto *const again = new QPushButton(VXSymbol::named(u"sync"_s), VXText("Look again"));
    cableColumn->addWidget(_ports);
    cableColumn->addWidget(_noPorts);
    cableColumn->addWidget(again, 0, Qt::AlignLeading);
    auto *const bluetooth = new QWidget(this);
    auto *const bluetoothColumn = new QVBoxLayout(bluetooth);
    bluetoothColumn->setContentsMargins(0, 0, 0, 0);
    bluetoothColumn->addWidget(_address);
    bluetoothColumn->addWidget(
        new VXTextLabel(VXText("Pair the phone in your desktop's Bluetooth settings first; they show its address."),
                        VXTextLabel::Role::Secondary));
    bluetoothColumn->addStretch();
    auto *const folder = new QWidget(this);
    auto *const folderRow = new QHBoxLayout(folder);
    folderRow->setContentsMargins(0, 0, 0, 0);
    auto *const choose = new QPushButton(VXText("Choose…"));
    folderRow->addWidget(_folder, 1, Qt::AlignTop);
    folderRow->addWidget(choose, 0, Qt::AlignTop);
    for (QWidget *const page : {cable, bluetooth, folder})
        _places->addWidget(page);

    auto *const form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(VXText("Name"), _name);
    form->addRow(VXText("Connected by"), _way);
    form->addRow(VXText("Where"), _places);
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
    connect(again, &QPushButton::clicked, this, &VXPhoneDialog::findPorts);
    connect(choose, &QPushButton::clicked, this, &VXPhoneDialog::chooseFolder);
    connect(_ports, &QListWidget::currentRowChanged, this, [this] {
        if (_name->text().isEmpty() && _ports->currentItem() != nullptr)
            _name->setText(_ports->currentItem()->data(Qt::UserRole + 1).toString());
        update();
    });
    for (QLineEdit *const edit : {_name, _address, _folder})
        connect(edit, &QLineEdit::textChanged, this, &VXPhoneDialog::update);
    connect(buttons, &QDialogButtonBox::accepted, this, &VXPhoneDialog::apply);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    findPorts();
    load();
    update();
}

void VXPhoneDialog::findPorts()
{
    _ports->clear();
    for (const QString &port : portsThatThereAre()) {
        const QString product = productAt(port);
        auto *const item = new QListWidgetItem(VXSymbol::named(u"phone"_s),
                                               product.isEmpty() ? port : u"%1  (%2)"_s.arg(product, port), _ports);
        item->setData(Qt::UserRole, port);
        item->setData(Qt::UserRole + 1, product);
    }
    const bool isEmpty = _ports->count() == 0;
    _ports->setVisible(!isEmpty);
    _noPorts->setVisible(isEmpty);
    _noPorts->setText(
        VXText("No phone was found on a cable. Plug it in, unlock it, and choose “modem” or “PC suite” if it asks."));
    if (_ports->count() == 1)
        _ports->setCurrentRow(0);
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
                                                       : Way::Cable;
    _way->setCurrentIndex(int(way));
    if (way == Way::Folder)
        _folder->setText(port);
    else if (way == Way::Bluetooth)
        _address->setText(port);
    const QList<QListWidgetItem *> same = _ports->findItems(port, Qt::MatchContains);
    if (way == Way::Cable && !same.isEmpty())
        _ports->setCurrentItem(same.constFirst());
}

void VXPhoneDialog::update()
{
    _places->setCurrentIndex(_way->currentIndex());
    _problem->hide();
    _done->setEnabled(!_name->text().trimmed().isEmpty() && !preferences().value(u"port"_s).toString().isEmpty());
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

QVariantMap VXPhoneDialog::preferences() const
{
    QVariantMap preferences{{u"name"_s, _name->text().trimmed()}};
    switch (static_cast<Way>(_way->currentData().toInt())) {
    case Way::Cable:
        preferences.insert(u"connection"_s, u"at"_s);
        preferences.insert(u"port"_s, _ports->currentItem() != nullptr
                                          ? _ports->currentItem()->data(Qt::UserRole).toString()
                                          : QString());
        break;
    case Way::Bluetooth:
        preferences.insert(u"connection"_s, u"blueat"_s);
        preferences.insert(u"port"_s, _address->text().trimmed());
        break;
    case Way::Folder:
        preferences.insert(u"connection"_s, u"none"_s);
        preferences.insert(u"model"_s, u"dummy"_s);
        preferences.insert(u"port"_s, _folder->text().trimmed());
        break;
    }
    return preferences;
}

// The plugin of phones is off until the first one comes.
bool VXPhoneDialog::preparePlugin()
{
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    VXPluginProxy *const plugin = manager.pluginWithIdentifier(pluginIdentifier);
    if (plugin == nullptr || !plugin->isInstalled()) {
        _problem->setText(VXText("The plugin for phones is not installed."));
        return false;
    }
    if (!plugin->isEnabled() && !manager.enablePluginProxy(plugin)) {
        _problem->setText(plugin->loadError().isEmpty() ? VXText("The plugin for phones could not be loaded.")
                                                        : plugin->loadError());
        return false;
    }
    return true;
}

void VXPhoneDialog::apply()
{
    if (!_url.isEmpty()) {
        if (const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(_url)) {
            const QVariantMap all = preferences();
            for (auto each = all.cbegin(); each != all.cend(); ++each)
                device->setPreference(*each, each.key());
        }
        accept();
        return;
    }
    const QUrl url = VXMakeDeviceURL({}, pluginIdentifier, identifierFrom(_name->text()));
    VXError error;
    const bool isReady = preparePlugin();
    if (isReady && VXDeviceRegistry::shared().add(url, preferences(), &error)) {
        _url = url;
        accept();
        return;
    }
    if (isReady)
        _problem->setText(error.localizedDescription() + u' ' + error.localizedRecoverySuggestion());
    _problem->show();
}
