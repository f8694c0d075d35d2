#include "VXFoundPhones.h"

#include "VXDesktopText.h"
#include "VXDeviceFind.h"
#include "VXDevicePlugin.h"
#include "VXDeviceSearch.h"
#include "VXDeviceURL.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QSignalBlocker>
#include <QtCore/QTimer>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds longestSearch{10};

VXPluginManager &plugins()
{
    return VXPluginManager::sharedPluginManager();
}

QString textOf(const VXFoundDevice &device)
{
    QStringList about{device.place, device.problem.localizedDescription()};
    about.removeAll(QString());
    about.removeAll(u""_s);
    return about.isEmpty() ? device.name : device.name + u"  ("_s + about.join(u". "_s) + u')';
}

} // namespace

VXFoundPhones::VXFoundPhones(const QString &plugin, QWidget *parent)
    : QWidget(parent), _plugin(plugin), _list(new QListWidget(this)),
      _about(new VXTextLabel({}, VXTextLabel::Role::Secondary, this))
{
    _list->setProperty("vxFramed", true);
    _list->setAccessibleName(VXText("Phones that were found"));
    _list->setMinimumHeight(120);
    auto *const again = new QPushButton(VXSymbol::named(u"sync"_s), VXText("Look again"));
    again->setAutoDefault(false);
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(_list, 1);
    column->addWidget(_about);
    column->addWidget(again, 0, Qt::AlignLeading);
    connect(again, &QPushButton::clicked, this, &VXFoundPhones::look);
    connect(_list, &QListWidget::currentRowChanged, this, [this] {
        tell();
        Q_EMIT choiceDidChange();
    });
    if (_plugin.isNull())
        turnOnPlugins();
    look();
}

VXFoundPhones::~VXFoundPhones()
{
    _search.reset();
    const QList<QUrl> known = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    for (const QString &identifier : std::as_const(_turnedOn)) {
        const bool isUsed =
            std::ranges::any_of(known, [&](const QUrl &url) { return VXDeviceURLComponent(url, 0) == identifier; });
        VXPluginProxy *const plugin = plugins().pluginWithIdentifier(identifier);
        if (!isUsed && plugin != nullptr)
            plugins().disablePluginProxy(plugin);
    }
}

void VXFoundPhones::turnOnPlugins()
{
    for (VXPluginProxy *const plugin : plugins().allPlugins()) {
        const bool isOfPhones = plugin->pluginClassType() == VXPluginKind::Device && plugin->isInstalled();
        if (isOfPhones && !plugin->isEnabled() && plugins().enablePluginProxy(plugin))
            _turnedOn.append(plugin->identifier());
    }
}

void VXFoundPhones::look()
{
    _search = std::make_unique<VXDeviceSearch>();
    connect(_search.get(), &VXDeviceSearch::didEnd, this, &VXFoundPhones::show, Qt::QueuedConnection);
    QTimer::singleShot(longestSearch, _search.get(), [this] {
        _search->stop();
        show();
    });
    _search->start();
    show();
}

void VXFoundPhones::show()
{
    const std::optional<VXFoundDevice> before = chosen();
    if (before)
        _port = before->preferences.value(u"port"_s).toString();
    {
        const QSignalBlocker blocker(_list);
        _list->clear();
        _found = _search->devices();
        _found.removeIf([this](const VXFoundDevice &each) {
            return _plugin.isNull() ? !VXDeviceMadeOf(each).isEmpty() : each.plugin != _plugin;
        });
        for (const VXFoundDevice &device : std::as_const(_found)) {
            const auto tone = device.problem.isNull() ? VXSymbol::Tone::Accent : VXSymbol::Tone::Quiet;
            new QListWidgetItem(VXSymbol::named(u"phone"_s, tone), textOf(device), _list);
        }
    }
    _list->setVisible(!_found.isEmpty());
    if (!_port.isEmpty())
        choosePort(_port);
    else if (_found.size() == 1)
        _list->setCurrentRow(0);
    tell();
    Q_EMIT choiceDidChange();
}

// For the selected phone, what has to be done about it; without one, how to make a phone appear here.
void VXFoundPhones::tell()
{
    QString text;
    if (const auto device = chosen())
        text = device->problem.localizedRecoverySuggestion();
    else if (_found.isEmpty() && !_search->isDone())
        text = VXText("Looking…");
    else if (_found.isEmpty())
        text =
            VXText("No phone was found. Plug it in and unlock it, and choose “modem” or “PC suite” if it asks; or pair "
                   "it in your desktop's Bluetooth settings.");
    _about->setText(text);
    _about->setVisible(!text.isEmpty());
}

std::optional<VXFoundDevice> VXFoundPhones::chosen() const
{
    const int row = _list->currentRow();
    return row >= 0 && row < _found.size() ? std::optional(_found.at(row)) : std::nullopt;
}

void VXFoundPhones::choosePort(const QString &port)
{
    _port = port;
    for (qsizetype row = 0; row < _found.size(); ++row) {
        if (_found.at(row).preferences.value(u"port"_s).toString() == port)
            _list->setCurrentRow(static_cast<int>(row));
    }
}
