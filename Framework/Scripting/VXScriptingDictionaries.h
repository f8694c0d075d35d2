#pragma once

#include "VXMutex.h"
#include "VXScriptingDictionary.h"

#include <functional>
#include <memory>
#include <vector>

class VXBundle;

/**
 * The scripting dictionaries there are: those in "Scripting" among the resources of the framework, the application and the
 * loaded plugins, and in the user's folder "Scripting" in application support, which go before the others in that order. One
 * that is damaged is logged and left out. Any thread.
 */
class VX_EXPORT VXScriptingDictionaries
{
public:
    /** Made on first use, which reads them, and never freed. */
    static VXScriptingDictionaries &shared();

    VXScriptingDictionaries();
    VXScriptingDictionaries(const VXScriptingDictionaries &) = delete;
    VXScriptingDictionaries &operator=(const VXScriptingDictionaries &) = delete;

    /** Those of a plugin; most have none, for which nothing is read. */
    static void bundleWasLoaded(const VXBundle &bundle);
    static void bundleWasUnloaded(const VXBundle &bundle);

    void addBundle(const VXBundle &bundle);
    void removeBundle(const VXBundle &bundle);

    /** All, those that go first at the front. */
    QList<VXScriptingDictionary> all() const;
    /** Those that serve a target, the ones that know it best at the front. */
    QList<VXScriptingDictionary> dictionariesForTarget(const QString &identifier) const;

    std::optional<VXScriptingProperty> property(const QString &identifier, VXFourCharCode code) const;
    std::optional<VXScriptingProperty> propertyNamed(const QString &identifier, const QString &name) const;
    /** All that stand for this event, to be tried in turn. */
    QList<VXScriptingEvent> events(const QString &identifier, VXFourCharCode eventClass, VXFourCharCode eventID) const;
    std::optional<VXScriptingEvent> eventNamed(const QString &identifier, const QString &name) const;

private:
    using Dictionaries = std::vector<VXScriptingDictionary>;

    static void readFolder(const QString &folder, Dictionaries &found);
    void keep(const std::function<void(Dictionaries &)> &change);
    std::shared_ptr<const Dictionaries> current() const;

    mutable VXMutex _lock;
    std::shared_ptr<const Dictionaries> _dictionaries VX_GUARDED_BY(_lock); // never changed in place
};
