#include "VXContactRow.h"

#include "VXAvatar.h"
#include "VXContactRecord.h"
#include "VXContactWords.h"
#include "VXDesktopText.h"
#include "VXPhonebookEntry.h"
#include "VXPhoneNumberFormat.h"
#include "VXRowDelegate.h"

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;

constexpr int pictureSize = 80; // for screens with a scale factor of two

VXListRow rowOf(const VXManagedObjectPtr &person)
{
    const VXContactRecord contact(QVariant::fromValue(person));
    QString name = VXPhonebookEntry::displayString(*person);
    if (name.isEmpty())
        name = contact.displayName();
    VXRowContents contents;
    contents.title = name.isEmpty() ? VXText("No name") : name;
    contents.person = name.isNull() ? u""_s : name;
    contents.isQuiet = name.isEmpty();
    contents.picture = VXSquarePicture(contact.image, pictureSize);
    if (!contact.numbers.isEmpty())
        contents.detail = VXFormatPhoneNumber(contact.numbers.constFirst().value);
    else if (!contact.emails.isEmpty())
        contents.detail = contact.emails.constFirst().value;
    else if (contact.company != name)
        contents.detail = contact.company;
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
