#include "VXTriggerFilter.h"

#include "VXContainer.h"
#include "VXFramework.h"
#include "VXIdleTime.h"
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

// The first problem of an element, in order; null when no element has one.
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

// Whether a value of that kind can never have the key, as opposed to having no value for it now. Maps can have any key,
// and classes of stored objects may support more keys than their entity.
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

bool asksFor(const VXExpression &expression, std::initializer_list<QLatin1StringView> keys)
{
    return std::ranges::find(keys, expression.keys().value(0)) != keys.end() ||
           std::ranges::any_of(expression.elements(),
                               [&keys](const VXExpression &element) { return asksFor(element, keys); });
}

bool asksFor(const VXPredicate &predicate, std::initializer_list<QLatin1StringView> keys)
{
    if (predicate.kind() == VXPredicate::Kind::Comparison)
        return asksFor(predicate.left(), keys) || asksFor(predicate.right(), keys);
    return std::ranges::any_of(predicate.subpredicates(),
                               [&keys](const VXPredicate &part) { return asksFor(part, keys); });
}

constexpr std::initializer_list<QLatin1StringView> contactKeys = {"contact"_L1, "who"_L1};
constexpr QLatin1StringView idleKey = "idle"_L1;

// Adds to the object, only for filters that ask for it, what objects do not contain: who the other party is, and
// whether the user is present.
QVariant objectFor(const VXPredicate &predicate, const QVariant &posted)
{
    const QVariant object = asksFor(predicate, contactKeys) ? VXObjectWithContact(posted) : posted;
    if (object.typeId() != QMetaType::QVariantMap || object.toMap().contains(idleKey) || !asksFor(predicate, {idleKey}))
        return object;
    QVariantMap map = object.toMap();
    if (const std::optional<double> seconds = VXIdleTime::seconds())
        map.insert(idleKey, *seconds);
    return map;
}

// The first key that the predicate needs and the map lacks; null for none.
QString missingKey(const VXPredicate &predicate, const QVariantMap &map)
{
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return firstProblem(predicate.subpredicates(), [&](const VXPredicate &part) { return missingKey(part, map); });
    for (const VXExpression *const expression : {&predicate.left(), &predicate.right()}) {
        const QString key = expression->keys().value(0);
        if (!key.isNull() && !map.contains(key) && !asksFor(*expression, contactKeys))
            return key;
    }
    return {};
}

// A key path that leads to objects but is compared with a text, which can never match; null for none.
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

// A predicate that cannot work is reported even if its result is true: "NOT" and "!=" make a missing value true.
VXFilterVerdict evaluate(const VXPredicate &predicate, const QVariant &posted)
{
    const QVariant object = objectFor(predicate, posted);
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

QString VXProblemOfPatterns(const VXPredicate &predicate)
{
    return predicate.kind() == VXPredicate::Kind::Comparison
               ? patternProblem(predicate)
               : firstProblem(predicate.subpredicates(), VXProblemOfPatterns);
}

VXFilterVerdict VXApplyTriggerFilter(const VXManagedObject &trigger, const QVariant &object)
{
    try {
        return applyFilter(trigger, object);
    } catch (...) { // the object's values may come from foreign code
        return {VXFilterVerdict::Kind::Broken, {}, VXDescribeThrown().reason};
    }
}

QString VXReasonForRejection(const VXFilterVerdict &verdict, const QVariant &object)
{
    if (!verdict.predicate)
        return {};
    const QVariant whole = objectFor(*verdict.predicate, object);
    const QString key = VXIsMap(whole) ? missingKey(*verdict.predicate, whole.toMap()) : QString();
    if (!key.isNull())
        return noSuchKey(key);
    const QString list = listComparedAsText(*verdict.predicate, whole);
    return list.isNull() ? QString() : VXLocalizedString(u"\"%1\" is a list of objects, and no text."_s).arg(list);
}
