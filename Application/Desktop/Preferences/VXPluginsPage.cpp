#include "VXPreferencePages.h"

#include "VXApplication.h"
#include "VXDesktopText.h"
#include "VXPluginManager.h"
#include "VXTextLabel.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFrame>
#include <QtWidgets/QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/** The plugins as rows: what each is, whether it is enabled, and what is wrong with it. */
class PluginsPage : public QWidget
{
public:
    PluginsPage() : _rows(new QVBoxLayout)
    {
        auto *const column = new QVBoxLayout(this);
        column->setContentsMargins(28, 24, 28, 24);
        column->setSpacing(14);
        auto *const head = new QHBoxLayout;
        auto *const install = new QPushButton(VXText("Install a plugin…"));
        head->addWidget(new VXTextLabel(VXText("Plugins"), VXTextLabel::Role::Headline), 1);
        head->addWidget(install);
        column->addLayout(head);
        column->addLayout(_rows);
        column->addStretch();
        _rows->setSpacing(8);
        connect(install, &QPushButton::clicked, this, &PluginsPage::install);
        fill();
    }

private:
    void fill()
    {
        while (QLayoutItem *const item = _rows->takeAt(0)) {
            if (item->widget() != nullptr)
                item->widget()->deleteLater();
            delete item;
        }
        QList<VXPluginProxy *> plugins = _manager.allPlugins();
        plugins.removeIf(
            [](VXPluginProxy *plugin) { return plugin->parentProxy() != nullptr || !plugin->isInstalled(); });
        // Plugins that can be disabled come first.
        std::ranges::sort(plugins, [](VXPluginProxy *a, VXPluginProxy *b) {
            return std::pair(a->isBuiltInPlugin(), a->name().toLower()) <
                   std::pair(b->isBuiltInPlugin(), b->name().toLower());
        });
        for (VXPluginProxy *const plugin : std::as_const(plugins))
            _rows->addWidget(makeRow(*plugin));
    }

    QString stateOf(VXPluginProxy &plugin) const
    {
        if (const QString problem = _manager.problemOfPlugin(plugin.identifier()); !problem.isNull())
            return problem;
        if (!plugin.loadError().isNull())
            return plugin.loadError();
        if (plugin.isBuiltInPlugin())
            return VXText("Part of the program");
        return plugin.isEnabled() ? VXText("On") : VXText("Off");
    }

    QWidget *makeRow(VXPluginProxy &plugin)
    {
        auto *const card = new QFrame;
        card->setProperty("vxSurface", u"card"_s);
        auto *const row = new QHBoxLayout(card);
        row->setContentsMargins(16, 10, 12, 10);
        auto *const texts = new QVBoxLayout;
        texts->setSpacing(1);
        texts->addWidget(new VXTextLabel(plugin.name(), VXTextLabel::Role::Body));
        auto *const state = new VXTextLabel(stateOf(plugin), VXTextLabel::Role::Caption);
        const bool isBad = !_manager.problemOfPlugin(plugin.identifier()).isNull() || !plugin.loadError().isNull();
        if (isBad)
            state->setProperty("vxTone", u"bad"_s);
        texts->addWidget(state);
        row->addLayout(texts, 1);
        if (isBad) {
            auto *const retry = new QPushButton(VXText("Try again"));
            connect(retry, &QPushButton::clicked, this, [this, &plugin] {
                _manager.retryPlugin(plugin.identifier());
                fill();
            });
            row->addWidget(retry);
        }
        if (!plugin.isBuiltInPlugin()) {
            auto *const isOn = new QCheckBox;
            isOn->setChecked(plugin.isEnabled());
            isOn->setAccessibleName(plugin.name());
            connect(isOn, &QCheckBox::clicked, this, [this, &plugin](bool flag) {
                if (flag)
                    _manager.enablePluginProxy(&plugin);
                else
                    _manager.disablePluginProxy(&plugin);
                QMetaObject::invokeMethod(
                    this, [this] { fill(); }, Qt::QueuedConnection);
            });
            row->addWidget(isOn);
        }
        return card;
    }

    void install()
    {
        VXOpenPanel panel;
        panel.message = VXText("Choose a plugin (.vxplugin)");
        panel.packageExtensions = {u"vxplugin"_s};
        panel.canChooseFiles = true;
        panel.shouldShowFilename = [](const QString &path) { return path.endsWith(".vxplugin"_L1); };
        const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
        if (chosen.path.isNull())
            return;
        VXError error;
        const VXPluginInstallResult result = _manager.installBundleAtPath(chosen.path, &error);
        VXAlert alert;
        const QString name = QFileInfo(chosen.path).completeBaseName();
        if (result == VXPluginInstallResult::Failed) {
            alert.message = VXText("“%1” could not be installed.").arg(name);
            alert.informativeText = error.localizedDescription();
        } else if (result == VXPluginInstallResult::InstalledForNextStart) {
            alert.message = VXText("“%1” is installed.").arg(name);
            alert.informativeText = VXText("The new version is used from the next start on.");
        }
        if (!alert.message.isNull())
            static_cast<void>(VXApplication::sharedApplication().userInterface().runAlert(alert));
        fill();
    }

    VXPluginManager &_manager = VXPluginManager::sharedPluginManager();
    QVBoxLayout *_rows;
};

} // namespace

QWidget *VXMakePluginsPage()
{
    return new PluginsPage;
}
