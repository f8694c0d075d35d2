#include "VXStoreModel.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

namespace {

using Item = VXStoreModel::Item;
using Link = VXStoreModel::Link;
using Relationship = VXStoreModel::Relationship;
using State = VXStoreModel::State;
using Tag = VXStoreModel::Tag;

bool isLinking(const Link &link, const std::function<bool(Tag)> &condition)
{
    return condition(std::get<1>(link)) || condition(std::get<2>(link));
}

// Over what is stored by now, the changes from `base` to `own`.
void merge(const Item &base, const Item &own, bool storeTrumps, Item &stored)
{
    for (const VXPropertyDescription *const property : own.entity->properties()) {
        const QString &key = property->name();
        const bool isTheirs = storeTrumps && stored.value(key) != base.value(key);
        if (own.value(key) != base.value(key) && !isTheirs)
            stored.set(key, own.value(key));
    }
}

bool isSound(const State &state)
{
    for (const auto &[tag, item] : state.items) {
        for (const Relationship *const relationship : item.entity->relationships()) {
            const Tag target = relationship->isToMany() ? 0 : item.target(*relationship);
            const Relationship &inverse = *relationship->inverse();
            const auto there = state.items.find(target);
            const bool isGood = there == state.items.end() ? inverse.deleteRule() == VXDeleteRule::NoAction
                                                           : inverse.isToMany() || there->second.target(inverse) == tag;
            if (target != 0 && !isGood)
                return false;
        }
    }
    return std::none_of(state.links.begin(), state.links.end(), [&](const Link &link) {
        return isLinking(link, [&](Tag tag) { return !state.items.contains(tag); });
    });
}

} // namespace

QVariant VXStoreModel::Item::value(const QString &key) const
{
    const auto found = values.find(key);
    return found == values.end() ? QVariant() : found->second;
}

void VXStoreModel::Item::set(const QString &key, const QVariant &value)
{
    if (value.isValid())
        values[key] = value;
    else
        values.erase(key);
}

VXStoreModel::Item *VXStoreModel::find(Tag tag)
{
    const auto there = _now.items.find(tag);
    const auto deleted = _deleted.find(tag);
    return there != _now.items.end() ? &there->second : deleted != _deleted.end() ? &deleted->second : nullptr;
}

std::set<Tag> VXStoreModel::targets(Tag tag, const Relationship &relationship) const
{
    std::set<Tag> found;
    if (!relationship.isToMany())
        found.insert(_now.items.at(tag).target(relationship));
    for (const auto &[other, item] : _now.items) {
        if (relationship.isManyToMany() ? _now.links.contains({&relationship, tag, other})
                                        : relationship.isToMany() && item.target(*relationship.inverse()) == tag)
            found.insert(other);
    }
    std::erase_if(found, [this](Tag other) { return !_now.items.contains(other); });
    return found;
}

// -- Changes

void VXStoreModel::setTarget(Tag tag, const Relationship &relationship, Tag target)
{
    const Relationship &inverse = *relationship.inverse();
    Item *const own = find(tag);
    const Tag before = own->target(relationship);
    if (before == target)
        return;
    if (!inverse.isToMany()) {
        if (Item *const left = find(before); left != nullptr)
            left->set(inverse.name(), {});
        if (Item *const taken = find(target); taken != nullptr) {
            if (Item *const third = find(taken->target(inverse)); third != nullptr)
                third->set(relationship.name(), {});
            taken->set(inverse.name(), tag);
        }
    }
    own->set(relationship.name(), target == 0 ? QVariant() : target);
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
        if (find(other)->target(inverse) == tag)
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
        for (const Relationship *const relationship : _now.items[next].entity->relationships()) {
            const VXDeleteRule rule = relationship->deleteRule();
            const bool isLeft =
                rule == VXDeleteRule::Deny || (rule == VXDeleteRule::NoAction && !relationship->inverse()->isToMany());
            if (isLeft && !isNew(next))
                continue;
            for (const Tag other : targets(next, *relationship)) {
                if (rule == VXDeleteRule::Cascade)
                    _effects[next].deleted.insert(other);
                else
                    _effects[next].nullified.insert({other, relationship->inverse()});
            }
            if (rule == VXDeleteRule::Cascade)
                std::ranges::copy(targets(next, *relationship), std::back_inserter(doomed));
            else if (relationship->isToMany())
                setTargets(next, *relationship, 0);
            else
                setTarget(next, *relationship, 0);
        }
        if (!isNew(next))
            _deleted[next] = _now.items[next];
        _now.items.erase(next);
    }
}

void VXStoreModel::drop(Tag tag)
{
    if (auto deleted = _deleted.extract(tag); deleted)
        _now.items.insert(std::move(deleted));
    _effects.erase(tag);
    const Item &before = _stored.items.at(tag);
    for (const VXPropertyDescription *const property : before.entity->properties()) {
        const Relationship *const relationship = property->asRelationship();
        if (relationship == nullptr)
            setValue(tag, property->name(), before.value(property->name()));
        else if (!relationship->isToMany() && find(tag)->target(*relationship) != before.target(*relationship))
            setTarget(tag, *relationship,
                      _deleted.contains(before.target(*relationship)) ? 0 : before.target(*relationship));
        for (const auto &[other, item] : _now.items) {
            if (relationship == nullptr || !relationship->isManyToMany())
                break; // else those are changes of the others
            const bool wasLinked = _stored.links.contains({relationship, tag, other});
            wasLinked ? add(tag, *relationship, other) : remove(tag, *relationship, other);
        }
    }
}

// -- Saving

bool VXStoreModel::canSave() const
{
    return std::all_of(_deleted.begin(), _deleted.end(), [this](const auto &deleted) {
        const auto &relationships = deleted.second.entity->relationships();
        return std::all_of(relationships.cbegin(), relationships.cend(), [&](const Relationship *relationship) {
            return relationship->deleteRule() != VXDeleteRule::Deny || targets(deleted.first, *relationship).empty();
        });
    });
}

VXStoreModel::State VXStoreModel::saved() const
{
    State state = _now;
    std::erase_if(state.links, [this](const Link &link) {
        return isLinking(link, [this](Tag tag) { return _deleted.contains(tag); });
    });
    return state;
}

void VXStoreModel::set(const State &stored, const State &now)
{
    _stored = stored;
    _now = now;
    _deleted.clear();
    _effects.clear();
}

// By what somebody else has paired with it, and is not deleted as well.
bool VXStoreModel::isDenied(const State &theirs, const std::map<Tag, Item> &deleted, Tag tag) const
{
    return theirs.items.contains(tag) && std::any_of(theirs.links.begin(), theirs.links.end(), [&](const Link &link) {
               const auto &[relationship, source, target] = link;
               return source == tag && relationship->deleteRule() == VXDeleteRule::Deny &&
                      !_stored.links.contains(link) && !deleted.contains(target);
           });
}

// Where the store's changes count, what it has changed or needs is not deleted, and the delete rules are undone.
void VXStoreModel::restoreYielding(const State &theirs, State *own, std::map<Tag, Item> *deleted,
                                   std::set<Tag> *conflicts) const
{
    std::vector<Tag> yielding;
    const auto findYielding = [&] {
        for (const auto &[tag, item] : *deleted) {
            const auto there = theirs.items.find(tag);
            const bool isChanged = there != theirs.items.end() && !(there->second == _stored.items.at(tag));
            if (isChanged || isDenied(theirs, *deleted, tag))
                yielding.push_back(tag);
        }
        conflicts->insert(yielding.begin(), yielding.end());
        return !yielding.empty();
    };
    while (!yielding.empty() || findYielding()) {
        const Tag tag = yielding.back();
        yielding.pop_back();
        const auto effects = _effects.find(tag);
        if (deleted->erase(tag) == 0 || effects == _effects.end())
            continue;
        std::ranges::copy(effects->second.deleted, std::back_inserter(yielding));
        for (const auto &[other, relationship] : effects->second.nullified) {
            const auto there = own->items.find(other);
            if (there != own->items.end() && !isNew(other) && !relationship->isToMany() &&
                there->second.target(*relationship) == 0 && _stored.items.at(other).target(*relationship) == tag)
                there->second.set(relationship->name(), tag);
        }
    }
}

std::optional<VXStoreModel::State> VXStoreModel::merged(const State &theirs, VXMergePolicy policy,
                                                        std::set<Tag> *conflicts) const
{
    const bool isRollback = policy == VXMergePolicy::Rollback;
    const bool storeTrumps = isRollback || policy == VXMergePolicy::MergeByPropertyStoreTrumps;
    State result = theirs;
    State own = saved();
    std::map<Tag, Item> deleted = _deleted;
    if (storeTrumps)
        restoreYielding(theirs, &own, &deleted, conflicts);
    else if (std::any_of(deleted.begin(), deleted.end(),
                         [&](const auto &each) { return isDenied(theirs, deleted, each.first); }))
        return std::nullopt;
    for (const auto &[tag, item] : own.items) {
        const Item base = isNew(tag) ? Item{item.entity, {}} : _stored.items.at(tag);
        if (!isNew(tag) && base == item)
            continue;
        for (const Relationship *const relationship : item.entity->relationships()) {
            const Tag target = relationship->isToMany() ? 0 : item.target(*relationship);
            const bool isGone =
                _stored.items.contains(target) && !(theirs.items.contains(target) && own.items.contains(target));
            if (isGone && (base.target(*relationship) != target || !theirs.items.contains(target)))
                return std::nullopt;
        }
        const auto there = result.items.find(tag);
        const bool isThere = there != result.items.end();
        const bool isConflict = !isNew(tag) && !(isThere && there->second == base);
        if (isConflict)
            conflicts->insert(tag);
        if (isConflict && (isRollback || (storeTrumps && !isThere)))
            continue;
        if (isConflict && isThere && policy != VXMergePolicy::Overwrite)
            merge(base, item, storeTrumps, there->second);
        else
            result.items[tag] = item;
    }
    for (const auto &[tag, item] : deleted) {
        const auto there = result.items.find(tag);
        const bool isConflict = there != result.items.end() && !(there->second == _stored.items.at(tag));
        if (isConflict)
            conflicts->insert(tag);
        if (there != result.items.end())
            result.items.erase(there);
    }
    const auto isDeleted = [this](Tag tag) { return _deleted.contains(tag); };
    for (const Link &link : _stored.links) {
        if (!own.links.contains(link) && !isLinking(link, isDeleted))
            result.links.erase(link);
    }
    std::copy_if(own.links.begin(), own.links.end(), std::inserter(result.links, result.links.end()),
                 [this](const Link &link) { return !_stored.links.contains(link); });
    std::erase_if(result.links, [&](const Link &link) {
        return isLinking(link, [&](Tag tag) { return isDeleted(tag) && !result.items.contains(tag); });
    });
    return isSound(result) ? std::optional(result) : std::nullopt;
}
