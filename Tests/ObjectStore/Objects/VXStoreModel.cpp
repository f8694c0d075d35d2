#include "VXStoreModel.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace {

using Tag = VXStoreModel::Tag;
using Item = VXStoreModel::Item;
using State = VXStoreModel::State;
using Relationship = VXStoreModel::Relationship;
using Link = VXStoreModel::Link;

template <class Map>
typename Map::mapped_type valueIn(const Map &map, const typename Map::key_type &key)
{
    const auto found = map.find(key);
    return found == map.end() ? typename Map::mapped_type{} : found->second;
}

template <class Map>
void setIn(Map &map, const typename Map::key_type &key, const typename Map::mapped_type &value)
{
    if (value == typename Map::mapped_type{})
        map.erase(key);
    else
        map[key] = value;
}

const Item *itemIn(const State &state, Tag tag)
{
    const auto found = state.items.find(tag);
    return found == state.items.end() ? nullptr : &found->second;
}

// The changes from `base` to `own` over `stored`, property by property.
template <class Map>
void merge(const Map &base, const Map &own, bool storeTrumps, Map &stored)
{
    std::set<typename Map::key_type> keys;
    for (const Map *const map : {&base, &own}) {
        for (const auto &entry : *map)
            keys.insert(entry.first);
    }
    for (const auto &key : keys) {
        const auto before = valueIn(base, key);
        if (valueIn(own, key) != before && !(storeTrumps && valueIn(stored, key) != before))
            setIn(stored, key, valueIn(own, key));
    }
}

bool isSound(const State &state)
{
    for (const auto &[tag, item] : state.items) {
        for (const auto &[relationship, target] : item.targets) {
            const Relationship &inverse = *relationship->inverse();
            const Item *const there = itemIn(state, target);
            if (there == nullptr ? inverse.deleteRule() != VXDeleteRule::NoAction
                                 : !inverse.isToMany() && valueIn(there->targets, &inverse) != tag)
                return false;
        }
    }
    return std::all_of(state.links.begin(), state.links.end(), [&](const Link &link) {
        return state.items.contains(std::get<1>(link)) && state.items.contains(std::get<2>(link));
    });
}

void removeLinks(State &state, const std::function<bool(Tag)> &isGone)
{
    std::erase_if(state.links,
                  [&](const Link &link) { return isGone(std::get<1>(link)) || isGone(std::get<2>(link)); });
}

} // namespace

VXStoreModel::Item *VXStoreModel::find(Tag tag)
{
    if (const auto found = _now.items.find(tag); found != _now.items.end())
        return &found->second;
    const auto found = _deleted.find(tag);
    return found == _deleted.end() ? nullptr : &found->second;
}

std::set<Tag> VXStoreModel::targets(Tag tag, const Relationship &relationship) const
{
    std::set<Tag> found;
    if (!relationship.isToMany()) {
        found.insert(valueIn(_now.items.at(tag).targets, &relationship));
    } else if (relationship.isManyToMany()) {
        for (const auto &[each, source, target] : _now.links) {
            if (each == &relationship && source == tag)
                found.insert(target);
        }
    } else {
        for (const auto &[other, item] : _now.items) {
            if (valueIn(item.targets, relationship.inverse()) == tag)
                found.insert(other);
        }
    }
    std::erase_if(found, [this](Tag other) { return !_now.items.contains(other); });
    return found;
}

void VXStoreModel::insert(Tag tag, const VXEntityDescription &entity)
{
    _now.items[tag].entity = &entity;
}

void VXStoreModel::setValue(Tag tag, const QString &key, const QVariant &value)
{
    setIn(_now.items.at(tag).values, key, value);
}

void VXStoreModel::setTarget(Tag tag, const Relationship &relationship, Tag target)
{
    const Relationship &inverse = *relationship.inverse();
    Item *const own = find(tag);
    const Tag before = valueIn(own->targets, &relationship);
    if (before == target)
        return;
    if (!inverse.isToMany()) {
        if (Item *const left = find(before); left != nullptr)
            left->targets.erase(&inverse);
        if (Item *const taken = find(target); taken != nullptr) {
            if (Item *const third = find(valueIn(taken->targets, &inverse)); third != nullptr)
                third->targets.erase(&relationship);
            taken->targets[&inverse] = tag;
        }
    }
    setIn(own->targets, &relationship, target);
}

void VXStoreModel::add(Tag tag, const Relationship &relationship, Tag other)
{
    const Relationship &inverse = *relationship.inverse();
    if (!inverse.isToMany())
        return setTarget(other, inverse, tag);
    _now.links.insert({&relationship, tag, other});
    _now.links.insert({&inverse, other, tag});
}

void VXStoreModel::remove(Tag tag, const Relationship &relationship, Tag other)
{
    const Relationship &inverse = *relationship.inverse();
    if (!inverse.isToMany()) {
        if (valueIn(find(other)->targets, &inverse) == tag)
            setTarget(other, inverse, 0);
        return;
    }
    _now.links.erase({&relationship, tag, other});
    _now.links.erase({&inverse, other, tag});
}

void VXStoreModel::setTargets(Tag tag, const Relationship &relationship, Tag target)
{
    std::set<Tag> others = targets(tag, relationship);
    for (const auto &[other, deleted] : _deleted) // which a delete rule may have left there
        others.insert(other);
    for (const Tag other : others) {
        if (other != target)
            remove(tag, relationship, other);
    }
    if (target != 0)
        add(tag, relationship, target);
}

void VXStoreModel::removeItem(Tag tag)
{
    std::vector<Tag> doomed{tag};
    while (!doomed.empty()) {
        const Tag next = doomed.back();
        doomed.pop_back();
        if (!_now.items.contains(next))
            continue;
        const bool isGone = isNew(next); // without a trace
        for (const Relationship *const relationship : _now.items[next].entity->relationships()) {
            const auto rule = relationship->deleteRule();
            const std::set<Tag> others = targets(next, *relationship);
            if (rule == VXDeleteRule::Cascade)
                doomed.insert(doomed.end(), others.begin(), others.end());
            else if (!isGone && (rule == VXDeleteRule::Deny ||
                                 (rule == VXDeleteRule::NoAction && !relationship->inverse()->isToMany())))
                continue;
            else if (!relationship->isToMany())
                setTarget(next, *relationship, 0);
            else
                for (const Tag other : others)
                    remove(next, *relationship, other);
        }
        if (!isGone)
            _deleted[next] = _now.items[next];
        _now.items.erase(next);
    }
}

void VXStoreModel::drop(Tag tag)
{
    if (isNew(tag))
        return;
    if (auto deleted = _deleted.extract(tag); deleted)
        _now.items.insert(std::move(deleted));
    Item &item = _now.items[tag];
    const Item &before = _stored.items.at(tag);
    item.values = before.values;
    for (const Relationship *const relationship : item.entity->relationships()) {
        if (!relationship->isToMany()) {
            const Tag target = valueIn(before.targets, relationship);
            if (valueIn(item.targets, relationship) != target)
                setTarget(tag, *relationship, _deleted.contains(target) ? 0 : target);
            continue;
        }
        if (!relationship->isManyToMany())
            continue; // those are changes of the others
        for (const auto &[other, ignored] : _now.items) {
            const bool wasLinked = _stored.links.contains({relationship, tag, other});
            wasLinked ? add(tag, *relationship, other) : remove(tag, *relationship, other);
        }
    }
}

bool VXStoreModel::canSave() const
{
    const auto isAllowed = [this](const auto &deleted) {
        const auto &relationships = deleted.second.entity->relationships();
        return std::all_of(relationships.cbegin(), relationships.cend(), [&](const Relationship *relationship) {
            return relationship->deleteRule() != VXDeleteRule::Deny || targets(deleted.first, *relationship).empty();
        });
    };
    return std::all_of(_deleted.begin(), _deleted.end(), isAllowed);
}

VXStoreModel::State VXStoreModel::saved() const
{
    State state = _now;
    removeLinks(state, [&](Tag tag) { return _deleted.contains(tag); });
    return state;
}

void VXStoreModel::set(const State &stored, const State &now)
{
    _stored = stored;
    _now = now;
    _deleted.clear();
}

std::optional<VXStoreModel::State> VXStoreModel::merged(const State &theirs, VXMergePolicy policy,
                                                        std::set<Tag> *conflicts) const
{
    const bool storeTrumps = policy == VXMergePolicy::MergeByPropertyStoreTrumps || policy == VXMergePolicy::Rollback;
    State result = theirs;
    const State own = saved();
    for (const auto &[tag, item] : own.items) {
        const Item *const base = itemIn(_stored, tag);
        if (base != nullptr && *base == item)
            continue;
        const auto there = result.items.find(tag);
        const bool isConflict = base != nullptr && (there == result.items.end() || !(there->second == *base));
        if (isConflict)
            conflicts->insert(tag);
        if (isConflict && (policy == VXMergePolicy::Rollback || (there == result.items.end() && storeTrumps)))
            continue;
        if (!isConflict || there == result.items.end() || policy == VXMergePolicy::Overwrite) {
            result.items[tag] = item;
            continue;
        }
        merge(base->values, item.values, storeTrumps, there->second.values);
        merge(base->targets, item.targets, storeTrumps, there->second.targets);
    }
    for (const auto &[tag, ignored] : _deleted) {
        const auto there = result.items.find(tag);
        const bool isConflict = there != result.items.end() && !(there->second == _stored.items.at(tag));
        if (isConflict)
            conflicts->insert(tag);
        if (there != result.items.end() && !(isConflict && storeTrumps))
            result.items.erase(there);
    }
    for (const Link &link : _stored.links) {
        const bool isDeletion = _deleted.contains(std::get<1>(link)) || _deleted.contains(std::get<2>(link));
        if (!own.links.contains(link) && !isDeletion)
            result.links.erase(link);
    }
    for (const Link &link : own.links) {
        if (!_stored.links.contains(link))
            result.links.insert(link);
    }
    removeLinks(result, [&](Tag tag) { return _deleted.contains(tag) && !result.items.contains(tag); });
    return isSound(result) ? std::optional(result) : std::nullopt;
}
