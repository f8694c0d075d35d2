#include "VXTriggerFilter.h"

#include "VXContainer.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXNone.h"
#include "VXPhonebookRecord.h"
#include "VXPluginGuard.h"
#include "VXSmartFilter.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <typeinfo>

using namespace Qt::StringLiterals;

namespace {

QString noSuchKey(const QString &key)
{
    return VXLocalizedString(u"The object has no \"%1\"."_s).arg(key);
}

// Of the elements in order; null when none has one.
template <class List, class Function>
QString firstProblem(const List &list, Function problemOfElement)
{
    for (const auto &element : list) {
        if (QString problem = problemOfElement(element); !problem.isNull())
            return problem;
    }
    return {};
}

bool isPropertyOf(const QObject &object, const QString &key)
{
    const QByteArray name = key.toUtf8();
    return object.metaObject()->indexOfProperty(name.constData()) >= 0 ||
           object.dynamicPropertyNames().contains(name) || VXInvocation::respondsTo(&object, name);
}

// Whether a value of that kind can have no such key, as opposed to having none for it now. Maps take any key, and classes
// of stored objects may know more keys than their entity.
bool isUnknownKey(const QVariant &value, const QString &key)
{
    if (VXIsMap(value))
        return false;
    if (value.metaType().flags().testFlag(QMetaType::PointerToQObject)) {
        const auto *const object = value.value<QObject *>();
        return object != nullptr && dynamic_cast<const VXKeyValueCoding *>(object) == nullptr &&
               !isPropertyOf(*object, key);
    }
    if (!value.canConvert<VXKeyValueCoding *>())
        return true;
    const auto *const stored = dynamic_cast<const VXManagedObject *>(value.value<VXKeyValueCoding *>());
    return stored != nullptr && typeid(*stored) == typeid(VXManagedObject) &&
           stored->entity().propertyForName(key) == nullptr;
}

QString keyPathProblem(const QStringList &keys, const QVariant &object)
{
    if (keys.size() == 1 && VXIsMap(object))
        return {};
    QVariant value = object;
    for (const QString &key : keys) {
        if (VXIsNone(value) || VXIsList(value) || key.startsWith(u'@'))
            return {};
        if (isUnknownKey(value, key))
            return noSuchKey(key);
        if (&key != &keys.constLast())
            value = VXValueForKey(value, key);
    }
    return {};
}

QString expressionProblem(const VXExpression &expression, const QVariant &object)
{
    switch (expression.kind()) {
    case VXExpression::Kind::Constant:
    case VXExpression::Kind::Self:
        return {};
    case VXExpression::Kind::Variable:
        return VXLocalizedString(u"The variable \"%1\" has no value."_s).arg(expression.value().toString());
    case VXExpression::Kind::KeyPath:
        return keyPathProblem(expression.keys(), object);
    case VXExpression::Kind::Aggregate:
        return firstProblem(expression.elements(),
                            [&](const VXExpression &element) { return expressionProblem(element, object); });
    }
    return {};
}

QString patternProblem(const VXPredicate &comparison)
{
    if (comparison.comparisonOperator() != VXPredicate::Operator::Matches ||
        comparison.right().kind() != VXExpression::Kind::Constant)
        return {};
    const QRegularExpression pattern(comparison.right().value().toString());
    return pattern.isValid() ? QString()
                             : VXLocalizedString(u"\"%1\" is no regular expression: %2."_s)
                                   .arg(pattern.pattern(), pattern.errorString());
}

// Why the predicate cannot be applied to the object; null when it can.
QString problemOf(const VXPredicate &predicate, const QVariant &object)
{
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return firstProblem(predicate.subpredicates(),
                            [&](const VXPredicate &part) { return problemOf(part, object); });
    QString problem = expressionProblem(predicate.left(), object);
    if (problem.isNull())
        problem = expressionProblem(predicate.right(), object);
    return problem.isNull() ? patternProblem(predicate) : problem;
}

bool asksForContact(const VXExpression &expression)
{
    const QString key = expression.keys().value(0);
    return key == "contact"_L1 || key == "who"_L1 ||
           std::ranges::any_of(expression.elements(),
                               [](const VXExpression &element) { return asksForContact(element); });
}

bool asksForContact(const VXPredicate &predicate)
{
    if (predicate.kind() == VXPredicate::Kind::Comparison)
        return asksForContact(predicate.left()) || asksForContact(predicate.right());
    return std::ranges::any_of(predicate.subpredicates(), [](const VXPredicate &part) { return asksForContact(part); });
}

// The first key that the predicate asks of the map and does not get; null for none.
QString missingKey(const VXPredicate &predicate, const QVariantMap &map)
{
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return firstProblem(predicate.subpredicates(), [&](const VXPredicate &part) { return missingKey(part, map); });
    for (const VXExpression *const expression : {&predicate.left(), &predicate.right()}) {
        const QString key = expression->keys().value(0);
        if (!key.isNull() && !map.contains(key) && !asksForContact(*expression))
            return key;
    }
    return {};
}

// A key path that leads to objects, compared with a text, which none of them is; null for none.
QString listComparedAsText(const VXPredicate &predicate, const QVariant &object)
{
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return firstProblem(predicate.subpredicates(),
                            [&](const VXPredicate &part) { return listComparedAsText(part, object); });
    const auto isText = [](const VXExpression &expression) {
        return expression.kind() == VXExpression::Kind::Constant && expression.value().typeId() == QMetaType::QString;
    };
    for (const auto &[key, other] :
         {std::pair(predicate.left(), predicate.right()), std::pair(predicate.right(), predicate.left())}) {
        const QString path = key.keys().join(u'.');
        if (path.isEmpty() || !isText(other))
            continue;
        const QVariant value = VXValueForKeyPath(object, path);
        const QVariantList list = VXIsList(value) ? value.toList() : QVariantList();
        if (!list.isEmpty() && list.constFirst().canConvert<VXKeyValueCoding *>())
            return path;
    }
    return {};
}

// A predicate that cannot work is told also where it holds: "NOT" and "!=" turn what is missing into yes.
VXFilterVerdict evaluate(const VXPredicate &predicate, const QVariant &posted)
{
    const QVariant object = asksForContact(predicate) ? VXObjectWithContact(posted) : posted;
    if (const QString problem = problemOf(predicate, object); !problem.isNull())
        return {VXFilterVerdict::Kind::Broken, predicate, problem};
    return {predicate.evaluateWithObject(object) ? VXFilterVerdict::Kind::Passed : VXFilterVerdict::Kind::Rejected,
            predicate};
}

VXFilterVerdict applyFilter(const VXManagedObject &trigger, const QVariant &object)
{
    const VXPropertyDescription *const property = trigger.entity().propertyForName(u"filter"_s);
    const VXManagedObjectPtr filter = property == nullptr ? nullptr : trigger.related(property->index());
    if (!filter)
        return {VXFilterVerdict::Kind::NoFilter};
    const QVariant predicate = filter->valueForKey(u"predicate"_s);
    if (predicate.metaType() == QMetaType::fromType<VXPredicate>())
        return evaluate(*static_cast<const VXPredicate *>(predicate.constData()), object);
    const auto *const smart = dynamic_cast<const VXSmartFilter *>(filter.get());
    const VXError problem = smart == nullptr ? VXError() : smart->problem();
    if (!problem)
        return {VXFilterVerdict::Kind::NoFilter};
    const QString reason = problem.localizedRecoverySuggestion();
    return {VXFilterVerdict::Kind::Broken, {}, reason.isNull() ? problem.localizedDescription() : reason};
}

} // namespace

VXFilterVerdict VXApplyTriggerFilter(const VXManagedObject &trigger, const QVariant &object)
{
    try {
        return applyFilter(trigger, object);
    } catch (...) { // values of objects come from foreign code
        return {VXFilterVerdict::Kind::Broken, {}, VXDescribeThrown().reason};
    }
}

QString VXReasonForRejection(const VXFilterVerdict &verdict, const QVariant &object)
{
    if (!verdict.predicate)
        return {};
    const QString key = VXIsMap(object) ? missingKey(*verdict.predicate, object.toMap()) : QString();
    if (!key.isNull())
        return noSuchKey(key);
    const QString list = listComparedAsText(*verdict.predicate,
                                            asksForContact(*verdict.predicate) ? VXObjectWithContact(object) : object);
    return list.isNull() ? QString() : VXLocalizedString(u"\"%1\" is a list of objects, and no text."_s).arg(list);
}
