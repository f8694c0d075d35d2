#include "VXContactRow.h"

#include "VXAvatar.h"
#include "VXContactFields.h"
#include "VXContactWords.h"
#include "VXDesktopText.h"
#include "VXPhonebookEntry.h"
#include "VXPhoneNumberFormat.h"
#include "VXRowDelegate.h"

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;

constexpr int pictureSize = 80; // for screens with a scale factor of two

// Of the one that was made first, as relationships have no order.
QString firstOf(const VXManagedObjectPtr &person, const QString &list, const QString &key)
{
    VXManagedObjectPtr first;
    for (const QVariant &each : person->valueForKey(list).toList()) {
        const auto object = each.value<VXManagedObjectPtr>();
        if (!first || object->objectID().number() < first->objectID().number())
            first = object;
    }
    return first ? first->valueForKey(key).toString().trimmed() : QString();
}

// Reads no more of the contact than it shows: the rest would be queries for each row.
VXListRow rowOf(const VXManagedObjectPtr &person)
{
    const QString number = firstOf(person, u"numbers"_s, u"number"_s);
    const QString address = number.isEmpty() ? firstOf(person, u"emails"_s, u"address"_s) : QString();
    QString name = VXPhonebookEntry::displayString(*person);
    if (name.isEmpty())
        name = number.isEmpty() ? address : number;
    VXRowContents contents;
    contents.title = name.isEmpty() ? VXText("No name") : name;
    contents.person = name.isNull() ? u""_s : name;
    contents.isQuiet = name.isEmpty();
    contents.picture = VXSquarePicture(person->valueForKey(u"image"_s).toByteArray(), pictureSize);
    if (!number.isEmpty())
        contents.detail = VXFormatPhoneNumber(number);
    else if (!address.isEmpty())
        contents.detail = address;
    else if (const QString company = person->valueForKey(u"company"_s).toString().trimmed(); company != name)
        contents.detail = company;
    for (QString *const text : {&contents.title, &contents.person, &contents.detail})
        *text = VXContactShownText(*text); // the whole would be measured each time it is painted
    QStringList spoken{contents.title, contents.detail};
    spoken.removeAll(QString());
    return {.text = spoken.join(", "_L1), .value = QVariant::fromValue(contents)};
}

// True if some word of the person begins with that.
VXPredicate beginsSo(const QString &beginning)
{
    const QByteArray from = beginning.toUtf8();
    QByteArray to = from;
    ++to.back();
    return VXPredicate::comparison(VXExpression::keyPath(u"words.key"_s), Operator::Between,
                                   VXExpression::constant(QVariantList{from, to}), {}, VXPredicate::Modifier::Any);
}

VXPredicate predicateFor(const QString &typed)
{
    QList<VXPredicate> words;
    for (const QString &word : VXContactWords::typedWords(typed)) {
        QList<VXPredicate> beginnings;
        for (const QString &beginning : VXContactWords::beginnings(word))
            beginnings.append(beginsSo(beginning));
        words.append(VXPredicate::anyOf(beginnings));
    }
    return VXPredicate::allOf(words);
}

} // namespace

VXListQuery VXContactsQuery(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXManagedObjectID &group,
                            const QString &typed)
{
    VXFetchRequest request(*coordinator->model().entityForName(u"VXPerson"_s));
    request.predicate = predicateFor(typed);
    if (!group.isNull())
        request.predicate = VXPredicate::allOf(
            {request.predicate, VXPredicate::comparison(VXExpression::keyPath(u"groups"_s), Operator::Equal,
                                                        VXExpression::constant(QVariant::fromValue(group)), {},
                                                        VXPredicate::Modifier::Any)});
    request.sortDescriptors = {{.key = u"sort_name"_s}};
    request.prefetchedRelationships = {u"numbers"_s, u"emails"_s};
    return {.coordinator = coordinator, .request = request, .makeRow = rowOf};
}
