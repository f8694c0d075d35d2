#pragma once

#include "VXMutex.h"
#include "VXScriptingDictionary.h"

#include <functional>
#include <memory>
#include <vector>

class VXBundle;

/**
 * The available scripting dictionaries: those in "Scripting" in the resources of the framework, the application and the
 * loaded plugins, and in the user's folder "Scripting" in application support. Later ones in this order take
 * precedence. A damaged dictionary is logged and left out. Any thread.
 */
class VX_EXPORT VXScriptingDictionaries
{
public:
    /** Made on first use, when the dictionaries are read, and never freed. */
    static VXScriptingDictionaries &shared();

    VXScriptingDictionaries();
    VXScriptingDictionaries(const VXScriptingDictionaries &) = delete;
    VXScriptingDictionaries &operator=(const VXScriptingDictionaries &) = delete;

    /** Add and remove the dictionaries of a plugin; for plugins without any, nothing is read. */
    static void bundleWasLoaded(const VXBundle &bundle);
    static void bundleWasUnloaded(const VXBundle &bundle);

    void addBundle(const VXBundle &bundle);
    void removeBundle(const VXBundle &bundle);

    /** All dictionaries in order of precedence. */
    QList<VXScriptingDictionary> all() const;
    /** The dictionaries for a target, best match first. */
    QList<VXScriptingDictionary> dictionariesForTarget(const QString &identifier) const;

    std::optional<VXScriptingProperty> property(const QString &identifier, VXFourCharCode code) const;
    std::optional<VXScriptingProperty> propertyNamed(const QString &identifier, const QString &name) const;
    /** All definitions of this event, to be tried in turn. */
    QList<VXScriptingEvent> events(const QString &identifier, VXFourCharCode eventClass, VXFourCharCode eventID) const;
    std::optional<VXScriptingEvent> eventNamed(const QString &identifier, const QString &name) const;

private:
    using Dictionaries = std::vector<VXScriptingDictionary>;

    static void readFolder(const QString &folder, Dictionaries &found);
    void keep(const std::function<void(Dictionaries &)> &change);
    std::shared_ptr<const Dictionaries> current() const;

    mutable VXMutex _lock;
    std::shared_ptr<const Dictionaries> _dictionaries VX_GUARDED_BY(_lock); // immutable
};
