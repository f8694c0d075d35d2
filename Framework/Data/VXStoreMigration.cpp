#include "VXStoreMigration.h"

#include "VXFramework.h"

#include <QtCore/QDataStream>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

thread_local VXStoreMigration *ofThread = nullptr;

} // namespace

VXManagedObjectPtr VXMigratedTarget(const VXManagedObjectID &oldID, const VXMigratedObjects &newObjects,
                                    const VXRelationshipDescription *made)
{
    VXManagedObjectPtr object = newObjects.value(oldID);
    const bool fits = object && (made == nullptr || object->entity().isKindOfEntity(made->destination()));
    return fits ? object : nullptr;
}

VXStoreMigration::Scope::Scope(VXStoreMigration &migration) : _before(std::exchange(ofThread, &migration)) {}

VXStoreMigration::Scope::~Scope()
{
    ofThread = _before;
}

VXStoreMigration *VXStoreMigration::current()
{
    return ofThread;
}

void VXStoreMigration::begin(Phase phase, qint64 total)
{
    _done = 0;
    _total = total;
    _phase = phase;
}

QString VXStoreMigration::phaseText() const
{
    switch (_phase.load()) {
    case Phase::Starting:
        return VXLocalizedString(u"Opening the data..."_s);
    case Phase::Attributes:
        return VXLocalizedString(u"Copying objects..."_s);
    case Phase::Relationships:
        return VXLocalizedString(u"Connecting objects..."_s);
    case Phase::Comparing:
        return VXLocalizedString(u"Comparing the copy with the old data..."_s);
    case Phase::Checking:
        return VXLocalizedString(u"Checking the copy..."_s);
    case Phase::Saving:
        return VXLocalizedString(u"Saving the copy..."_s);
    case Phase::Verifying:
        return VXLocalizedString(u"Comparing the copy with what was saved..."_s);
    }
    return {};
}

VXEntityMigration &VXStoreMigration::entity(const QString &name)
{
    const auto found = std::ranges::find(_entities, name, &VXEntityMigration::entity);
    return found != _entities.end() ? *found : _entities.emplaceBack(VXEntityMigration{.entity = name});
}

VXPropertyPair VXStoreMigration::propertiesNamed(const QString &name, const VXEntityDescription &old,
                                                 const VXEntityDescription &made)
{
    if (const std::pair shape(&old, &made); shape != _shape) {
        _shape = shape;
        _pairs.clear();
        _nextPair = 0;
        for (const VXAttributeDescription *const each : old.attributes())
            _pairs.append({each, made.propertyForName(each->name())});
        for (const VXRelationshipDescription *const each : old.relationships())
            _pairs.append({each, made.propertyForName(each->name())});
    }
    for (qsizetype tried = 0; tried < _pairs.size(); ++tried) {
        const VXPropertyPair &pair = _pairs[_nextPair];
        _nextPair = _nextPair + 1 < _pairs.size() ? _nextPair + 1 : 0;
        if (pair.old->name().constData() == name.constData()) // the same string data as the property's own name
            return pair;
    }
    return {old.propertyForName(name), made.propertyForName(name)};
}

std::optional<quint64> VXStoreMigration::digestOfChanges(const VXPropertyDescription &old) const
{
    const auto found = _changes.constFind(&old);
    return found == _changes.constEnd() ? std::nullopt : std::optional(*found);
}

quint64 VXStoreMigration::digestOf(const VXManagedObjectID &oldID, const QVariant &value)
{
    const size_t seed = qHash(oldID);
    switch (value.typeId()) { // the most frequent types
    case QMetaType::QString:
        return qHash(*static_cast<const QString *>(value.constData()), seed);
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return qHashMulti(seed, value.typeId(), value.toLongLong());
    default:
        break;
    }
    QByteArray bytes;
    QDataStream stream(&bytes, QDataStream::WriteOnly);
    stream << value;
    return qHash(bytes, seed);
}

void VXStoreMigration::noteMade(const VXManagedObject &made)
{
    const VXManagedObjectID &objectID = made.objectID();
    const bool isNewest = objectID.store() == nullptr && objectID.number() > _newestNumber;
    if (isNewest)
        _newestNumber = objectID.number();
    else
        _mayShare = true;
}

void VXStoreMigration::setNewObjects(const VXMigratedObjects &newObjects)
{
    _newObjects = newObjects;
    _shared.clear();
    if (!_mayShare)
        return;
    QSet<const VXManagedObject *> seen;
    for (const VXManagedObjectPtr &made : newObjects) {
        const qsizetype before = seen.size();
        seen.insert(made.get());
        if (seen.size() == before)
            _shared.insert(made.get());
    }
}

void VXStoreMigration::noteNothingSaved()
{
    _savesNothing = true;
    for (VXEntityMigration &each : _entities)
        noteCopied(each.entity, 0);
}

void VXStoreMigration::noteCopied(const QString &name, qint64 count)
{
    VXEntityMigration &counts = entity(name);
    counts.copied = count;
    counts.ignored = counts.found - count;
}
