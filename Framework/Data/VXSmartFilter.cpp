#include "VXSmartFilter.h"

#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXManagedObjectClass.h"
#include "VXManagedObjectContext.h"
#include "VXMutex.h"
#include "VXSmartFilterValues.h"

#include <QtCore/QHash>

#include <algorithm>

using namespace Qt::StringLiterals;

const QString VXSmartFilter::entityName = u"VXSmartFilter"_s;

namespace {

// Damaged data may contain filters nested in each other.
constexpr int deepestNesting = 32;

// Registered before any store can be opened. Must not use static variables of other files, which may not be initialized
// yet.
[[maybe_unused]] const bool areClassesRegistered = [] {
    VXManagedObjectClass::registerClass<VXSmartFilter>(u"VXSmartFilter"_s);
    VXManagedObjectClass::registerClass<VXSmartFilterRow>(u"VXSmartFilterRow"_s);
    return true;
}();

QString nameOf(VXFilterMatching matching)
{
    switch (matching) {
    case VXFilterMatching::All:
        return u"all"_s;
    case VXFilterMatching::Any:
        return u"any"_s;
    case VXFilterMatching::None:
        return u"none"_s;
    }
    return {};
}

std::optional<VXFilterMatching> matchingForName(const QString &name)
{
    for (const VXFilterMatching matching : {VXFilterMatching::All, VXFilterMatching::Any, VXFilterMatching::None}) {
        if (nameOf(matching) == name)
            return matching;
    }
    return std::nullopt;
}

VXPredicate joined(VXFilterMatching matching, const QList<VXPredicate> &predicates)
{
    if (predicates.isEmpty() || matching == VXFilterMatching::All)
        return VXPredicate::allOf(predicates);
    const VXPredicate any = VXPredicate::anyOf(predicates);
    return matching == VXFilterMatching::Any ? any : VXPredicate::negationOf(any);
}

// A cache of parsed texts, as filters are asked again for each event.
class ParsedTexts
{
public:
    std::optional<VXPredicate> parse(const QString &text, VXError *error)
    {
        {
            const VXMutexLocker locker(_lock);
            if (const auto found = _predicates.constFind(text); found != _predicates.cend())
                return *found;
        }
        std::optional<VXPredicate> predicate = VXPredicate::predicateWithFormat(text, {}, error);
        if (!predicate)
            return std::nullopt;
        if (const QStringList variables = predicate->variables(); !variables.isEmpty()) {
            VXFailFilter(error, VXLocalizedString(u"The variable \"%1\" has no value."_s).arg(variables.constFirst()));
            return std::nullopt;
        }
        const VXMutexLocker locker(_lock);
        if (_predicates.size() >= most)
            _predicates.clear();
        _predicates.insert(text, *predicate);
        return predicate;
    }

private:
    static constexpr qsizetype most = 4096;

    VXMutex _lock;
    QHash<QString, VXPredicate> _predicates VX_GUARDED_BY(_lock);
};

ParsedTexts &parsedTexts()
{
    static auto &texts = *new ParsedTexts; // never freed: any thread may be asking
    return texts;
}

bool canExpress(const VXPredicate &predicate)
{
    switch (predicate.kind()) {
    case VXPredicate::Kind::True:
        return true;
    case VXPredicate::Kind::False:
        return false;
    case VXPredicate::Kind::Comparison:
        return VXSmartFilterRow::canExpress(predicate);
    case VXPredicate::Kind::And:
    case VXPredicate::Kind::Or:
    case VXPredicate::Kind::Not:
        break;
    }
    const QList<VXPredicate> &parts = predicate.subpredicates();
    return std::all_of(parts.cbegin(), parts.cend(), [](const VXPredicate &part) { return canExpress(part); });
}

} // namespace

QString VXSmartFilter::name() const
{
    return valueForKey(u"name"_s).toString();
}

void VXSmartFilter::setName(const QString &name)
{
    setValueForKey(name, u"name"_s);
}

VXFilterMatching VXSmartFilter::matching() const
{
    return matchingForName(valueForKey(u"matching"_s).toString()).value_or(VXFilterMatching::All);
}

void VXSmartFilter::setMatching(VXFilterMatching matching)
{
    setValueForKey(nameOf(matching), u"matching"_s);
}

QString VXSmartFilter::predicateText() const
{
    return valueForKey(u"predicateText"_s).toString();
}

// -- Rows

QList<VXSmartFilterRowPtr> VXSmartFilter::rows() const
{
    QList<VXSmartFilterRowPtr> rows;
    for (const QVariant &row : VXManagedObject::valueForKey(u"rows"_s).toList())
        rows.append(VXSmartFilterRowPtr(dynamic_cast<VXSmartFilterRow *>(row.value<VXManagedObjectPtr>().get())));
    rows.removeAll(nullptr);
    const auto index = [](const VXSmartFilterRowPtr &row) { return row->valueForKey(u"index"_s).toInt(); };
    std::sort(rows.begin(), rows.end(), [&](const auto &a, const auto &b) { return index(a) < index(b); });
    return rows;
}

VXSmartFilterRowPtr VXSmartFilter::addRow()
{
    const QList<VXSmartFilterRowPtr> present = rows();
    const VXManagedObjectPtr made = managedObjectContext()->insertNewObject(VXSmartFilterRow::entityName);
    const VXSmartFilterRowPtr row(dynamic_cast<VXSmartFilterRow *>(made.get()));
    VXAssert(row, u"the model's class of smart-filter rows is another"_s);
    row->setValueForKey(present.isEmpty() ? 0 : present.constLast()->valueForKey(u"index"_s).toInt() + 1, u"index"_s);
    row->setValueForKey(QVariant::fromValue(VXManagedObjectPtr(this)), u"filter"_s);
    return row;
}

VXSmartFilterRowPtr VXSmartFilter::addRow(const QString &attribute, const QString &comparison, const QVariant &pattern,
                                          const QString &options)
{
    VXSmartFilterRowPtr row = addRow();
    row->setValueForKey(attribute, u"attributeName"_s);
    row->setValueForKey(comparison, u"comparison"_s);
    row->setValueForKey(pattern, u"pattern"_s);
    row->setValueForKey(options, u"options"_s);
    return row;
}

VXSmartFilterPtr VXSmartFilter::addFilter(VXFilterMatching matching)
{
    const VXManagedObjectPtr made = managedObjectContext()->insertNewObject(entityName);
    VXSmartFilterPtr filter(dynamic_cast<VXSmartFilter *>(made.get()));
    VXAssert(filter, u"the model's class of smart filters is another"_s);
    filter->setMatching(matching);
    addRow()->setValueForKey(QVariant::fromValue(made), u"nested"_s);
    return filter;
}

void VXSmartFilter::removeAllRows()
{
    for (const VXSmartFilterRowPtr &row : rows())
        managedObjectContext()->deleteObject(row);
    setValueForKey({}, u"predicateText"_s);
    setValueForKey(false, u"hasTextOfRows"_s);
}

// -- The predicate

std::optional<VXPredicate> VXSmartFilter::predicate(VXError *error) const
{
    if (managedObjectContext() == nullptr || valueForKey(u"matching"_s).toString().isNull()) {
        VXFailFilter(error, VXLocalizedString(u"The filter no longer exists."_s));
        return std::nullopt;
    }
    const QString text = predicateText();
    // While the context has no changes, the text agrees with the rows.
    if (!text.isNull() && !managedObjectContext()->hasChanges())
        return parsedTexts().parse(text, error);
    const bool isOfRows = valueForKey(u"hasTextOfRows"_s).toBool() || !rows().isEmpty();
    return text.isNull() || isOfRows ? predicateOfRows(0, error) : parsedTexts().parse(text, error);
}

std::optional<VXPredicate> VXSmartFilter::predicateOfRows(int depth, VXError *error) const
{
    const QString name = VXManagedObject::valueForKey(u"matching"_s).toString();
    const std::optional<VXFilterMatching> matching = matchingForName(name);
    if (!matching) {
        VXFailFilter(error, VXLocalizedString(u"Rows are not joined by \"%1\"."_s).arg(name));
        return std::nullopt;
    }
    if (depth >= deepestNesting) {
        VXFailFilter(error, VXLocalizedString(u"The filters are nested too deeply."_s));
        return std::nullopt;
    }
    QList<VXPredicate> predicates;
    for (const VXSmartFilterRowPtr &row : rows()) {
        const VXSmartFilterPtr nested = row->nestedFilter();
        const auto predicate = nested ? nested->predicateOfRows(depth + 1, error) : row->predicate(error);
        if (!predicate)
            return std::nullopt;
        predicates.append(*predicate);
    }
    return joined(*matching, predicates);
}

bool VXSmartFilter::setPredicate(const VXPredicate &predicate)
{
    removeAllRows();
    if (canExpress(predicate)) {
        fill(predicate);
        return true;
    }
    setMatching(VXFilterMatching::All);
    setValueForKey(predicate.predicateFormat(), u"predicateText"_s);
    return false;
}

void VXSmartFilter::fill(const VXPredicate &predicate)
{
    const auto addParts = [&](VXFilterMatching matching, const QList<VXPredicate> &parts) {
        setMatching(matching);
        for (const VXPredicate &part : parts)
            addPart(part);
    };
    const QList<VXPredicate> &parts = predicate.subpredicates();
    switch (predicate.kind()) {
    case VXPredicate::Kind::And:
        return addParts(VXFilterMatching::All, parts);
    case VXPredicate::Kind::Or:
        return addParts(VXFilterMatching::Any, parts);
    case VXPredicate::Kind::Not: {
        const bool negatesOr = parts.constFirst().kind() == VXPredicate::Kind::Or;
        return addParts(VXFilterMatching::None, negatesOr ? parts.constFirst().subpredicates() : parts);
    }
    case VXPredicate::Kind::Comparison:
        return addParts(VXFilterMatching::All, {predicate});
    case VXPredicate::Kind::True:
    case VXPredicate::Kind::False:
        return setMatching(VXFilterMatching::All);
    }
}

void VXSmartFilter::addPart(const VXPredicate &predicate)
{
    if (predicate.kind() == VXPredicate::Kind::Comparison)
        addRow()->setPredicate(predicate);
    else
        addFilter(VXFilterMatching::All)->fill(predicate);
}

VXError VXSmartFilter::problem() const
{
    VXError error;
    return predicate(&error) ? VXError() : error;
}

QVariant VXSmartFilter::valueForKey(const QString &key) const
{
    if (key != "predicate"_L1)
        return VXManagedObject::valueForKey(key);
    const std::optional<VXPredicate> made = predicate();
    return made ? QVariant::fromValue(*made) : QVariant();
}

// -- The text in step with the rows

void VXSmartFilter::willSave()
{
    updatePredicateTexts();
}

void VXSmartFilter::updatePredicateTexts()
{
    VXSmartFilterPtr filter(this);
    for (int depth = 0; filter && !filter->isDeleted() && depth < deepestNesting; ++depth) {
        filter->updatePredicateText();
        const auto object = filter->valueForKey(u"parent"_s).value<VXManagedObjectPtr>();
        const auto *const row = dynamic_cast<VXSmartFilterRow *>(object.get());
        filter = row == nullptr ? VXSmartFilterPtr() : row->filter();
    }
}

void VXSmartFilter::updatePredicateText()
{
    const bool hasRows = !rows().isEmpty();
    const QVariantMap changed = changedValues();
    const bool textIsNew = changed.contains(u"predicateText"_s) && !changed.contains(u"hasTextOfRows"_s);
    if (!hasRows && (textIsNew || !valueForKey(u"hasTextOfRows"_s).toBool())) {
        setValueForKey(false, u"hasTextOfRows"_s);
        return;
    }
    const std::optional<VXPredicate> predicate = predicateOfRows(0, nullptr);
    const QString text = predicate ? predicate->predicateFormat() : QString();
    // A predicate that cannot be written as text is made from the rows each time.
    const bool saysTheSame = predicate && VXPredicate::predicateWithFormat(text) == predicate;
    setValueForKey(saysTheSame ? text : QString(), u"predicateText"_s);
    setValueForKey(true, u"hasTextOfRows"_s);
}
