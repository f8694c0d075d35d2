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
    return request;
}

} // namespace

// Cards have a member's UID with the scheme of URIs where the member itself has it without.
QString VXContactGroupImport::plainUID(const QString &uid)
{
    return uid.startsWith(uuidScheme, Qt::CaseInsensitive) ? uid.sliced(uuidScheme.size()) : uid;
}

qsizetype VXContactGroupImport::groupWithUID(const QString &plain) const
{
    const auto found = std::ranges::find_if(
        _groups, [&](const VXCard &group) { return !plain.isEmpty() && plainUID(group.contact.uid) == plain; });
    return found == _groups.cend() ? -1 : found - _groups.cbegin();
}

// By plain UIDs. A group that leads back to itself ends there.
void VXContactGroupImport::collectMembers(qsizetype group, QSet<qsizetype> &visited, QSet<QString> &members) const
{
    QList<qsizetype> waiting{group};
    while (!waiting.isEmpty()) {
        const qsizetype at = waiting.takeLast();
        if (visited.contains(at))
            continue;
        visited.insert(at);
        for (const QString &member : *_groups[at].members) {
            const QString plain = plainUID(member);
            if (const qsizetype inner = groupWithUID(plain); inner >= 0)
                waiting.append(inner);
            else
                members.insert(plain);
        }
    }
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
        QSet<qsizetype> visited;
        QSet<QString> members;
        collectMembers(group, visited, members);
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
        qsizetype joined = changeSet ? 0 : missing; // that are not there yet when nothing is changed
        for (const VXManagedObjectPtr &person : *persons) {
            if (VXContactRecord(QVariant::fromValue(person)).groups.contains(name))
                continue;
            ++joined;
            if (!changeSet)
                continue;
            VXContactHistory::note(context, *changeSet, person, false);
            writer.addToGroup(person, name);
        }
        if (missing > 0 && changeSet)
            problems->append({card.line, u"%1 members of the group \"%2\" are not there"_s.arg(missing).arg(name)});
        outcomes.append(joined == 0 ? Outcome::Same : there->isEmpty() ? Outcome::Added : Outcome::Changed);
    }
    return outcomes;
}
