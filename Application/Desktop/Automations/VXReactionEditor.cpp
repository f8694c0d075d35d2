#include "VXReactionEditor.h"

#include "VXDesktopText.h"
#include "VXOptionsForm.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXReaction.h"
#include "VXReactorPlugin.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString nameOf(const VXPluginProxy &proxy)
{
    QString name;
    if (const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(proxy.singleton().get()))
        VXCallPlugin(proxy, "reactorName", [&] { name = reactor->reactorName(); });
    return name.isEmpty() ? proxy.name() : name;
}

} // namespace

QList<std::pair<QString, QString>> VXUsableReactors()
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    QList<std::pair<QString, QString>> reactors;
    for (const VXPluginProxy *const proxy : manager.reactorPlugins() + manager.exporterPlugins()) {
        if (proxy->isLoaded())
            reactors.append({proxy->identifier(), nameOf(*proxy)});
    }
    std::ranges::sort(reactors, [](const auto &a, const auto &b) { return a.second.localeAwareCompare(b.second) < 0; });
    return reactors;
}

VXReactionEditor::VXReactionEditor(const VXTriggerChange::Reaction &reaction, QWidget *parent)
    : QFrame(parent), _reaction(reaction), _problem(new VXTextLabel({}, VXTextLabel::Role::Caption, this))
{
    setProperty("vxSurface", u"card"_s);
    const VXPluginProxy *const proxy =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(_reaction.identifier);
    const QString name = proxy != nullptr ? nameOf(*proxy) : _reaction.identifier;
    setAccessibleName(name);
    auto *const head = new QHBoxLayout;
    head->addWidget(new VXTextLabel(name, VXTextLabel::Role::Title), 1);
    auto *const remove = new QToolButton(this);
    remove->setIcon(VXSymbol::named(u"trash"_s, VXSymbol::Tone::Quiet));
    remove->setAccessibleName(VXText("Remove “%1”").arg(name));
    remove->setToolTip(VXText("Remove"));
    head->addWidget(remove);
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(16, 10, 10, 12);
    column->addLayout(head);
    column->addWidget(_problem);
    _problem->setProperty("vxTone", u"bad"_s);
    connect(remove, &QToolButton::clicked, this, &VXReactionEditor::wantsRemoval);
    if (const VXReactorPlugin *const plugin = reactor()) {
        VXReactorOptions options;
        VXCallPlugin(*proxy, "reactorOptions", [&] { options = plugin->reactorOptions(); });
        auto *const form = new VXOptionsForm(options, _reaction.options);
        column->insertWidget(1, form);
        connect(form, &VXOptionsForm::valuesDidChange, this, [this, form] {
            _reaction.options = form->values();
            showProblem();
            Q_EMIT didChange();
        });
    }
    showProblem();
}

const VXReactorPlugin *VXReactionEditor::reactor() const
{
    const VXPluginProxy *const proxy =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(_reaction.identifier);
    return proxy != nullptr ? dynamic_cast<const VXReactorPlugin *>(proxy->singleton().get()) : nullptr;
}

// Options that are required but missing are reported when somebody saves.
void VXReactionEditor::showProblem()
{
    const VXPluginProxy *const proxy =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(_reaction.identifier);
    QString problem;
    if (proxy == nullptr || !proxy->isInstalled())
        problem = VXText("This plugin is not installed; nothing is done here.");
    else if (!proxy->isEnabled())
        problem = VXText("This plugin is turned off; nothing is done here.");
    else if (!proxy->isLoaded())
        problem = VXText("This plugin could not be loaded; nothing is done here.");
    else if (const VXReactorPlugin *const plugin = reactor())
        problem = VXProblemOfReactorOptions(*plugin, _reaction.options);
    _problem->setText(problem);
    _problem->setVisible(!problem.isEmpty());
}
