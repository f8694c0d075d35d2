#include "VXReaction.h"

#include "VXFramework.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXReactorPlugin.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

const QString indexKey = u"index"_s;
const QString identifierKey = u"bundleIdentifier"_s;
const QString optionsKey = u"options"_s;

const VXPluginProxy *pluginOf(const VXReaction &reaction)
{
    return VXPluginManager::sharedPluginManager().pluginWithIdentifier(reaction.bundleIdentifier());
}

} // namespace

QString VXReaction::bundleIdentifier() const
{
    return _record->valueForKey(identifierKey).toString();
}

QVariantMap VXReaction::userOptions() const
{
    return _record->valueForKey(optionsKey).toMap();
}

int VXReaction::index() const
{
    return _record->valueForKey(indexKey).toInt();
}

void VXReaction::setBundleIdentifier(const QString &identifier)
{
    _record->setValueForKey(identifier, identifierKey);
}

void VXReaction::setUserOptions(const QVariantMap &options)
{
    _record->setValueForKey(options.isEmpty() ? QVariant() : QVariant(options), optionsKey);
}

void VXReaction::setIndex(int index)
{
    _record->setValueForKey(index, indexKey);
}

QVariantMap VXReaction::options() const
{
    QVariantMap options = userOptions();
    if (const VXPluginProxy *const plugin = pluginOf(*this)) {
        const VXPluginProxy::Instance instance = plugin->singleton();
        if (const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(instance.get()))
            VXCallPlugin(*plugin, "reactorDefaults", [&] { options = VXOptionsForReactor(*reactor, options); });
    }
    return options;
}

QString VXReaction::problem() const
{
    const VXPluginProxy *const plugin = pluginOf(*this);
    if (plugin == nullptr)
        return VXLocalizedString(u"is not installed"_s);
    if (!plugin->isEnabled())
        return VXLocalizedString(u"is disabled"_s);
    return plugin->isLoaded() ? QString() : VXLocalizedString(u"is not loaded"_s);
}

QVariantMap VXOptionsForReactor(const VXReactorPlugin &reactor, const QVariantMap &userOptions)
{
    QVariantMap options = reactor.reactorDefaults().value_or(QVariantMap());
    options.insert(userOptions);
    return options;
}

QString VXProblemOfReactorOptions(const VXReactorPlugin &reactor, const QVariantMap &userOptions)
{
    QString problem;
    QString thrown;
    const auto look = [&] {
        const QVariantMap options = VXOptionsForReactor(reactor, userOptions);
        const VXReactorOptions known = reactor.reactorOptions();
        if (known.isEmpty()) // the reactor does not describe its options
            return;
        QStringList keys;
        QStringList shown;
        std::ranges::transform(known, std::back_inserter(keys), &VXReactorOption::key);
        std::ranges::transform(known, std::back_inserter(shown), &VXReactorOption::shownKey);
        for (const QString &key : userOptions.keys()) {
            if (problem.isNull() && !keys.contains(key))
                problem =
                    VXLocalizedString(u"There is no option \"%1\"; there are: %2."_s).arg(key, shown.join(", "_L1));
        }
        for (const VXReactorOption &option : known) {
            if (problem.isNull())
                problem = option.problemOf(options.value(option.key));
        }
        if (problem.isNull())
            problem = reactor.problemOfOptions(options);
    };
    return VXCallPlugin(reactor, "reactorOptions", look, &thrown) ? problem : thrown;
}
