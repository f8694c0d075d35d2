#include "VXContactGroupImport.h"

#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Outcome = VXImportedContact::Outcome;

namespace {

constexpr QLatin1StringView uuidScheme("urn:uuid:");

VXFetchRequest requestFor(const VXManagedObjectContext &context, const QString &entity, const QString &key,
                          const QVariantList &values)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(entity));
    request.predicate =
        VXPredicate::comparison(VXExpression::keyPath(key), VXPredicate::Operator::In, VXExpression::constant(values));
    if (entity == "VXPerson"_L1)
        request.prefetchedRelationships = {u"groups"_s};
    return request;
}

bool isIn(const VXManagedObjectPtr &person, const QString &group)
{
    const QList<VXManagedObjectPtr> groups =
        person->relatedObjects(person->entity().propertyForName(u"groups"_s)->index());
    return std::ranges::any_of(
        groups, [&](const VXManagedObjectPtr &each) { return each->valueForKey(u"name"_s).toString() == group; });
}

} // namespace

// Cards may write a member's UID with the URI scheme although the member's own UID has none.
QString VXContactGroupImport::plainUID(const QString &uid)
{
    return uid.startsWith(uuidScheme, Qt::CaseInsensitive) ? uid.sliced(uuidScheme.size()) : uid;
}

void VXContactGroupImport::addGroup(const VXCard &group)
{
    if (const QString plain = plainUID(group.contact.uid); !plain.isEmpty() && !_places.contains(plain))
        _places.insert(plain, _groups.size());
    _groups.append(group);
}

// Returns plain UIDs. A group that contains itself is not entered again.
QSet<QString> VXContactGroupImport::membersOf(qsizetype group) const
{
    QSet<QString> members;
    QSet<qsizetype> visited{group};
    QList<qsizetype> level{group};
    for (int depth = 0; depth < deepest && !level.isEmpty(); ++depth) {
        QList<qsizetype> below;
        for (const qsizetype at : std::as_const(level)) {
            for (const QString &member : *_groups[at].members) {
                const QString plain = plainUID(member);
                const qsizetype inner = _places.value(plain, -1);
                if (inner < 0)
                    members.insert(plain);
                else if (!visited.contains(inner))
                    below.append(inner);
                visited.insert(inner);
            }
        }
        level = below;
    }
    return members;
}

std::optional<QList<Outcome>> VXContactGroupImport::run(VXManagedObjectContext &context,
                                                        const std::optional<VXContactChangeSet> &changeSet,
                                                        QList<VXCardProblem> *problems, VXError *error) const
{
    VXContactWriter writer(context);
    if (changeSet)
        writer.setChangeSet(changeSet->number, changeSet->date);
    QList<Outcome> outcomes;
    for (qsizetype group = 0; group < _groups.size(); ++group) {
        const VXCard &card = _groups[group];
        const QString &name = card.contact.name;
        const QSet<QString> members = membersOf(group);
        QVariantList uids;
        for (const QString &plain : std::as_const(members))
            uids << plain << uuidScheme + plain << _aliases.value(plain, plain);
        const auto there = context.executeFetchRequest(requestFor(context, u"VXGroup"_s, u"name"_s, {name}), error);
        const auto persons =
            there ? context.executeFetchRequest(requestFor(context, u"VXPerson"_s, u"uid"_s, uids), error)
                  : std::nullopt;
        if (!persons)
            return std::nullopt;
        const qsizetype missing = std::max<qsizetype>(members.size() - persons->size(), 0);
        qsizetype joined = changeSet ? 0 : missing; // without a change set, those are not in the store yet
        for (const VXManagedObjectPtr &person : *persons) {
            if (isIn(person, name))
                continue;
            ++joined;
            if (!changeSet)
                continue;
            VXContactHistory::note(context, *changeSet, person, false);
            writer.addToGroup(person, name);
        }
        if (missing > 0 && changeSet)
            problems->append(
                {card.line, (missing == 1 ? u"1 member of the group \"%1\" is not there"_s.arg(name)
                                          : u"%1 members of the group \"%2\" are not there"_s.arg(missing).arg(name))});
        outcomes.append(joined == 0 ? Outcome::Same : there->isEmpty() ? Outcome::Added : Outcome::Changed);
    }
    return outcomes;
}
