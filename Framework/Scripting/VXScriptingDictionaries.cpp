#include "VXScriptingDictionaries.h"

#include "VXBundle.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXMethodLog.h"

#include <QtCore/QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString subfolder = u"/Scripting"_s;

// Ignores case, as people write these names.
bool isNamed(const QString &name, const QString &typed)
{
    return name.compare(typed, Qt::CaseInsensitive) == 0;
}

} // namespace

VXScriptingDictionaries &VXScriptingDictionaries::shared()
{
    static auto *const dictionaries = new VXScriptingDictionaries;
    return *dictionaries;
}

VXScriptingDictionaries::VXScriptingDictionaries()
{
    Dictionaries found;
    readFolder(VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + subfolder, found);
    readFolder(VXBundle::mainBundle()->resourcesPath() + subfolder, found);
    readFolder(VXFrameworkBundle()->resourcesPath() + subfolder, found);
    _dictionaries = std::make_shared<const Dictionaries>(std::move(found));
}

void VXScriptingDictionaries::readFolder(const QString &folder, Dictionaries &found)
{
    const QStringList names = QDir(folder).entryList({u"*.plist"_s}, QDir::Files, QDir::Name);
    for (const QString &name : names) {
        VXError error;
        const std::optional<VXScriptingDictionary> dictionary =
            VXScriptingDictionary::fromFile(folder + u'/' + name, &error);
        if (dictionary)
            found.push_back(*dictionary);
        else
            VXLogClassMethod(VXLogWarning, VXScriptingDictionaries, "readFolder:", error.description());
    }
}

std::shared_ptr<const VXScriptingDictionaries::Dictionaries> VXScriptingDictionaries::current() const
{
    const VXMutexLocker lock(_lock);
    return _dictionaries;
}

void VXScriptingDictionaries::keep(const std::function<void(Dictionaries &)> &change)
{
    const VXMutexLocker lock(_lock);
    Dictionaries copy = *_dictionaries;
    change(copy);
    _dictionaries = std::make_shared<const Dictionaries>(std::move(copy));
}

void VXScriptingDictionaries::bundleWasLoaded(const VXBundle &bundle)
{
    if (QDir(bundle.resourcesPath() + subfolder).exists())
        shared().addBundle(bundle);
}

void VXScriptingDictionaries::bundleWasUnloaded(const VXBundle &bundle)
{
    if (QDir(bundle.resourcesPath() + subfolder).exists())
        shared().removeBundle(bundle);
}

void VXScriptingDictionaries::addBundle(const VXBundle &bundle)
{
    Dictionaries found;
    readFolder(bundle.resourcesPath() + subfolder, found);
    if (found.empty())
        return;
    const QString own = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + subfolder + u'/';
    keep([&](Dictionaries &all) {
        const auto place = std::ranges::find_if(
            all, [&own](const VXScriptingDictionary &dictionary) { return !dictionary.source.startsWith(own); });
        all.insert(place, found.begin(), found.end());
    });
}

void VXScriptingDictionaries::removeBundle(const VXBundle &bundle)
{
    const QString folder = bundle.resourcesPath() + subfolder + u'/';
    const auto isFromThere = [&folder](const VXScriptingDictionary &dictionary) {
        return dictionary.source.startsWith(folder);
    };
    if (std::ranges::any_of(*current(), isFromThere))
        keep([&](Dictionaries &all) { std::erase_if(all, isFromThere); });
}

QList<VXScriptingDictionary> VXScriptingDictionaries::all() const
{
    const std::shared_ptr<const Dictionaries> dictionaries = current();
    return {dictionaries->begin(), dictionaries->end()};
}

QList<VXScriptingDictionary> VXScriptingDictionaries::dictionariesForTarget(const QString &identifier) const
{
    QList<VXScriptingDictionary> found;
    for (const VXScriptingDictionary &dictionary : *current()) {
        if (dictionary.fitness(identifier) > 0)
            found.append(dictionary);
    }
    std::ranges::stable_sort(found, std::ranges::greater(), [&identifier](const VXScriptingDictionary &dictionary) {
        return dictionary.fitness(identifier);
    });
    return found;
}

std::optional<VXScriptingProperty> VXScriptingDictionaries::property(const QString &identifier,
                                                                     VXFourCharCode code) const
{
    for (const VXScriptingDictionary &dictionary : dictionariesForTarget(identifier)) {
        const auto found = std::ranges::find(dictionary.properties, code, &VXScriptingProperty::code);
        if (found != dictionary.properties.cend())
            return *found;
    }
    return std::nullopt;
}

std::optional<VXScriptingProperty> VXScriptingDictionaries::propertyNamed(const QString &identifier,
                                                                          const QString &name) const
{
    for (const VXScriptingDictionary &dictionary : dictionariesForTarget(identifier)) {
        for (const VXScriptingProperty &property : dictionary.properties) {
            if (isNamed(property.name, name))
                return property;
        }
    }
    return std::nullopt;
}

QList<VXScriptingEvent> VXScriptingDictionaries::events(const QString &identifier, VXFourCharCode eventClass,
                                                        VXFourCharCode eventID) const
{
    QList<VXScriptingEvent> found;
    for (const VXScriptingDictionary &dictionary : dictionariesForTarget(identifier)) {
        for (const VXScriptingEvent &event : dictionary.events) {
            if (event.eventClass == eventClass && event.eventID == eventID)
                found.append(event);
        }
    }
    return found;
}

std::optional<VXScriptingEvent> VXScriptingDictionaries::eventNamed(const QString &identifier,
                                                                    const QString &name) const
{
    for (const VXScriptingDictionary &dictionary : dictionariesForTarget(identifier)) {
        for (const VXScriptingEvent &event : dictionary.events) {
            if (isNamed(event.name, name))
                return event;
        }
    }
    return std::nullopt;
}
