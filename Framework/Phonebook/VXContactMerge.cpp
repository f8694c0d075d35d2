#include "VXContactMerge.h"

#include "VXContactName.h"
#include "VXContactWriter.h"
#include "VXContainer.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QVariant>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

using Conflicts = QList<VXMergedContact::Conflict>;

const QString noteKey = u"note"_s;
const QString nameKey = u"name"_s;
const QString typeKey = u"type"_s;
const QString labelKey = u"label"_s;
const QString firstNameKey = u"firstName"_s;
const std::array furtherNameKeys{u"lastName"_s, u"middleName"_s, u"namePrefix"_s, u"nameSuffix"_s};

QString textOf(const QVariant &value)
{
    return value.typeId() == QMetaType::QDateTime ? value.toDateTime().date().toString(Qt::ISODate) : value.toString();
}

void set(QVariantMap &map, const QString &key, const QVariant &value)
{
    if (value.isValid())
        map.insert(key, value);
    else
        map.remove(key);
}

// What identifies a list element, apart from its description.
QString identityOf(const QVariant &element)
{
    const QVariantMap map = element.toMap();
    if (const QString number = map.value(u"number"_s).toString(); !number.isEmpty()) {
        const QString search = VXPhoneNumberRecordString(number);
        return search.isEmpty() ? number : search;
    }
    QStringList parts;
    for (auto part = map.cbegin(); part != map.cend(); ++part) {
        if (part.key() != typeKey && part.key() != labelKey)
            parts.append(part.key() + u' ' + part->toString().simplified().toLower());
    }
    return parts.join(u'\n');
}

// The values of an element that were not taken, together with the element, as text.
QString textOf(const QVariantMap &element, const Conflicts &conflicts)
{
    QStringList values;
    unsigned type = 0;
    for (auto part = element.cbegin(); part != element.cend(); ++part) {
        if (part.key() != typeKey && part.key() != labelKey)
            values.append(part->toString());
    }
    QStringList labels;
    for (const VXMergedContact::Conflict &conflict : conflicts) {
        if (conflict.key == typeKey)
            type = conflict.other.toUInt();
        else if (conflict.key == labelKey)
            labels.append(conflict.other);
    }
    return (QStringList(VXPhonebookStringJoin({}, values.join(u' '), type)) + labels).join(u' ');
}

/** The elements of a list, found by what identifies them. */
class Elements
{
public:
    explicit Elements(const QVariantList &list)
    {
        for (const QVariant &element : list)
            _elements[identityOf(element)].append(element);
    }

    /** Invalid when there is none. A list may have a number twice, with different types. */
    QVariant find(const QVariant &element) const
    {
        const auto alike = _elements.constFind(identityOf(element));
        if (alike == _elements.constEnd())
            return {};
        return alike->contains(element) ? element : alike->constFirst();
    }

private:
    QHash<QString, QVariantList> _elements;
};

// Whether the known element has the same description; it may have more values, which phones cannot store.
bool isAsIn(const QVariantMap &known, const QVariantMap &element)
{
    const auto keys = known.keys();
    return !known.isEmpty() &&
           std::ranges::all_of(keys, [&](const QString &key) { return known.value(key) == element.value(key); });
}

// -- Names

QStringList namesOf(const QVariantMap &contact)
{
    QStringList names{contact.value(firstNameKey).toString()};
    for (const QString &key : furtherNameKeys)
        names.append(contact.value(key).toString());
    return names;
}

bool hasNameInParts(const QVariantMap &contact)
{
    return std::ranges::any_of(furtherNameKeys, [&](const QString &key) { return contact.contains(key); });
}

/** Merges the maps of contacts, and the elements of their lists, three ways. */
class Merge
{
public:
    void mergeContacts(const QVariantMap &before, QVariantMap after, const QVariantMap &ontoBefore, QVariantMap &onto)
    {
        mergeWholeName(before, after, ontoBefore, onto);
        mergeMaps(before, after, ontoBefore, onto, _conflicts);
        std::ranges::stable_sort(_conflicts, {}, &VXMergedContact::Conflict::key);
    }
    const Conflicts &conflicts() const { return _conflicts; }

private:
    // The name is a single value, whether it is in one field, as on many phones, or in several.
    void mergeWholeName(const QVariantMap &before, QVariantMap &after, const QVariantMap &ontoBefore, QVariantMap &onto)
    {
        const bool isChanged = namesOf(before) != namesOf(after) && namesOf(after) != namesOf(onto);
        const bool isInParts = hasNameInParts(onto);
        if (!isChanged || (hasNameInParts(before) == isInParts && hasNameInParts(after) == isInParts))
            return;
        const bool isTaken = namesOf(onto) == namesOf(ontoBefore);
        if (!isTaken && !VXContactName::saysAllOf(VXContactRecord(onto), VXContactRecord(after)))
            _conflicts.append({nameKey, VXContactRecord(after).displayName()});
        QVariantMap &from = isTaken ? after : onto;
        QVariantMap &to = isTaken ? onto : after;
        set(to, firstNameKey, from.value(firstNameKey));
        for (const QString &key : furtherNameKeys)
            set(to, key, from.value(key));
    }

    static void mergeMaps(const QVariantMap &before, const QVariantMap &after, const QVariantMap &ontoBefore,
                          QVariantMap &onto, Conflicts &conflicts)
    {
        const QStringList keys = before.keys() + after.keys();
        for (const QString &key : QSet(keys.cbegin(), keys.cend())) {
            const QVariant old = before.value(key);
            const QVariant news = after.value(key);
            const QVariant mine = onto.value(key);
            if (VXIsList(old) || VXIsList(news)) {
                Conflicts ofElements;
                const QVariantList list =
                    mergedList(old.toList(), news.toList(), ontoBefore.value(key).toList(), mine.toList(), ofElements);
                set(onto, key, list.isEmpty() ? QVariant() : QVariant(list));
                for (const VXMergedContact::Conflict &conflict : std::as_const(ofElements))
                    conflicts.append({key, conflict.other});
            } else if (news != old && news != mine) {
                const bool isContested = mine != ontoBefore.value(key) && mine != old;
                if (!isContested)
                    set(onto, key, news);
                else if (key == noteKey)
                    onto.insert(key, withLinesOf(mine.toString(), news.toString()));
                else if (news.isValid())
                    contest(key, news, onto, conflicts);
            }
        }
    }

    static void contest(const QString &key, const QVariant &news, QVariantMap &onto, Conflicts &conflicts)
    {
        if (key == typeKey)
            return conflicts.append({key, news.toString()});
        const QString other = textOf(news);
        const QString mine = textOf(onto.value(key));
        if (other.startsWith(mine)) // phones truncate long texts
            onto.insert(key, news);
        else if (!mine.startsWith(other))
            conflicts.append({key, other});
    }

    static QString withLinesOf(const QString &text, const QString &other)
    {
        QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
        for (const QString &line : other.split(u'\n', Qt::SkipEmptyParts)) {
            if (!lines.contains(line))
                lines.append(line);
        }
        return lines.join(u'\n');
    }

    static QVariantList mergedList(const QVariantList &before, const QVariantList &after,
                                   const QVariantList &ontoBefore, const QVariantList &onto, Conflicts &conflicts)
    {
        const Elements beforehand(before);
        const Elements there(after);
        const Elements own(ontoBefore);
        const Elements here(onto);
        QVariantList merged;
        for (const QVariant &element : onto) {
            const QVariant old = beforehand.find(element);
            const QVariant news = there.find(element);
            const QVariantMap mine = own.find(element).toMap();
            QVariantMap map = element.toMap();
            const bool isRemoved = old.isValid() && !news.isValid();
            if (isRemoved && isAsIn(mine, map))
                continue;
            Conflicts contested;
            if (news.isValid())
                mergeMaps(old.toMap(), news.toMap(), mine, map, contested);
            contested.removeIf([](const auto &each) { return each.key != typeKey && each.key != labelKey; });
            if (!contested.isEmpty()) // the other values identify the element
                conflicts.append({{}, textOf(map, contested)});
            merged.append(map);
        }
        for (const QVariant &element : after) {
            if (!here.find(element).isValid() && beforehand.find(element) != element)
                merged.append(element);
        }
        return merged;
    }

    Conflicts _conflicts;
};

} // namespace

VXContactRecord VXContactForPhone(const VXContactRecord &contact)
{
    VXContactRecord made = VXStorableContact(contact);
    made.image.clear();
    made.groups.clear();
    made.uid.clear();
    made.properties.clear();
    static const QStringList labels{u"other"_s, u"video"_s, u"messaging"_s};
    for (VXContactRecord::Address &number : made.numbers)
        number.label = labels.contains(number.label) ? number.label : QString();
    for (QList<VXContactRecord::Address> *const list : {&made.emails, &made.urls}) {
        for (VXContactRecord::Address &address : *list)
            address.label.clear();
    }
    std::ranges::sort(made.addresses, {}, [](const VXContactRecord::PostalAddress &address) {
        return QStringList{address.street, address.city, address.zip, address.text}; // stores return them in any order
    });
    return made;
}

VXMergedContact VXMergeContacts(const VXContactRecord &before, const VXContactRecord &after,
                                const VXContactRecord &ontoBefore, const VXContactRecord &onto)
{
    Merge merge;
    QVariantMap merged = VXStorableContact(onto).map();
    merge.mergeContacts(before.map(), after.map(), ontoBefore.map(), merged);
    return {.contact = VXContactRecord(merged), .conflicts = merge.conflicts()};
}
