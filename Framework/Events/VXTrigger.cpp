#include "VXTrigger.h"

#include "VXComparison.h"
#include "VXSmartFilter.h"

using namespace Qt::StringLiterals;

const QString VXTrigger::storeName = u"triggers"_s;
const QString VXTrigger::entityName = u"VXTrigger"_s;
const QString VXTrigger::eventNameKey = u"eventName"_s;
const QString VXTrigger::indexKey = u"index"_s;

namespace {

const QString enabledKey = u"isEnabled"_s;
const QString useFilterKey = u"useFilter"_s;
const QString filterKey = u"filter"_s;
const QString nameKey = u"userName"_s;
const QString reactorsKey = u"reactors"_s;

} // namespace

bool VXTrigger::flag(const QString &key) const
{
    const VXPropertyDescription *const property = _record->entity().propertyForName(key);
    return property == nullptr || _record->attribute(property->index()).toBool();
}

QString VXTrigger::eventName() const
{
    return _record->valueForKey(eventNameKey).toString();
}

QString VXTrigger::shortID() const
{
    return u'p' + QString::number(_record->objectID().number());
}

int VXTrigger::index() const
{
    return _record->valueForKey(indexKey).toInt();
}

bool VXTrigger::isEnabled() const
{
    return flag(enabledKey);
}

bool VXTrigger::usesFilter() const
{
    return flag(useFilterKey);
}

QString VXTrigger::userName() const
{
    return _record->valueForKey(nameKey).toString();
}

QString VXTrigger::title() const
{
    const QString name = userName();
    return name.isEmpty() ? eventName() : name;
}

QList<VXReaction> VXTrigger::reactions() const
{
    QList<VXReaction> reactions;
    const QVariantList records = _record->valueForKey(reactorsKey).toList();
    for (const QVariant &record : vx_sortedArrayUsingKey(records, indexKey))
        reactions.append(VXReaction(record.value<VXManagedObjectPtr>()));
    return reactions;
}

std::optional<VXPredicate> VXTrigger::filter(VXError *error) const
{
    const auto object = _record->valueForKey(filterKey).value<VXManagedObjectPtr>();
    const auto *const filter = dynamic_cast<const VXSmartFilter *>(object.get());
    return filter != nullptr && usesFilter() ? filter->predicate(error) : std::nullopt;
}

QString VXTrigger::filterText() const
{
    VXError error;
    const std::optional<VXPredicate> predicate = filter(&error);
    if (predicate)
        return predicate->predicateFormat();
    return error ? u"(%1)"_s.arg(error.localizedDescription()) : QString();
}

void VXTrigger::setEventName(const QString &name)
{
    _record->setValueForKey(name, eventNameKey);
}

void VXTrigger::setIndex(int index)
{
    _record->setValueForKey(index, indexKey);
}

void VXTrigger::setEnabled(bool flag)
{
    _record->setValueForKey(flag, enabledKey);
}

void VXTrigger::setUserName(const QString &name)
{
    _record->setValueForKey(name.isNull() ? QVariant() : QVariant(name), nameKey);
}

VXFilterVerdict VXTrigger::test(const QVariant &object) const
{
    return usesFilter() ? VXApplyTriggerFilter(*_record, object) : VXFilterVerdict{VXFilterVerdict::Kind::NoFilter};
}
