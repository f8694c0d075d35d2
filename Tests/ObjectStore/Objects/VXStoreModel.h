#pragma once

#include "VXManagedObjectModel.h"
#include "VXMergePolicy.h"

#include <map>
#include <optional>
#include <set>
#include <tuple>

/**
 * What one context over a store should show and the store should hold, said in plain maps. Objects are known by a number, their
 * tag; 0 is none.
 */
class VXStoreModel
{
public:
    using Tag = qint64;
    using Relationship = VXRelationshipDescription;
    using Link = std::tuple<const Relationship *, Tag, Tag>; // from source to target

    struct Item
    {
        const VXEntityDescription *entity = nullptr;
        std::map<QString, QVariant> values; // of attributes, and of to-one relationships as tags; none is left out

        QVariant value(const QString &key) const;
        Tag target(const Relationship &relationship) const { return value(relationship.name()).toLongLong(); }
        void set(const QString &key, const QVariant &value);
        friend bool operator==(const Item &a, const Item &b) = default;
    };
    struct State
    {
        std::map<Tag, Item> items;
        std::set<Link> links; // between to-many relationships, from either end
        friend bool operator==(const State &a, const State &b) = default;
    };

    const State &stored() const { return _stored; }
    const State &now() const { return _now; }
    bool hasChanges() const { return !(_stored == _now) || hasDeleted(); }
    bool hasDeleted() const { return !_deleted.empty(); }
    bool isNew(Tag tag) const { return !_stored.items.contains(tag); }
    /** What a relationship of any kind leads to, without what is deleted. */
    std::set<Tag> targets(Tag tag, const Relationship &relationship) const;

    void insert(Tag tag, const VXEntityDescription &entity) { _now.items[tag].entity = &entity; }
    void setValue(Tag tag, const QString &key, const QVariant &value) { _now.items.at(tag).set(key, value); }
    void setTarget(Tag tag, const Relationship &relationship, Tag target);
    void add(Tag tag, const Relationship &relationship, Tag other);
    void remove(Tag tag, const Relationship &relationship, Tag other);
    /** The relationship, a to-many one, leads there alone, or nowhere. */
    void setTargets(Tag tag, const Relationship &relationship, Tag target);
    void removeItem(Tag tag);
    /** The object shows again what is stored. */
    void drop(Tag tag);

    /** False when a delete rule forbids it. */
    bool canSave() const;
    /** The store after a save. */
    State saved() const;
    void set(const State &stored, const State &now);
    /** The store after a save of the context to what another one made of it meanwhile, and the objects that both changed.
     * Empty when something would then lead nowhere, or not back: the test leaves such cases out. */
    std::optional<State> merged(const State &theirs, VXMergePolicy policy, std::set<Tag> *conflicts) const;

private:
    /** What became of others when an item was deleted. */
    struct DeleteEffects
    {
        std::set<Tag> deleted;
        std::set<std::pair<Tag, const Relationship *>> nullified; // which led to it
    };

    Item *find(Tag tag);
    bool isDenied(const State &theirs, const std::map<Tag, Item> &deleted, Tag tag) const;
    void restoreYielding(const State &theirs, State *own, std::map<Tag, Item> *deleted, std::set<Tag> *conflicts) const;

    State _stored;
    State _now;
    std::map<Tag, Item> _deleted; // from _now, since the last save
    std::map<Tag, DeleteEffects> _effects;
};
