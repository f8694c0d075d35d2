#include "VXFetchOptions.h"

#include "VXEntityPredicate.h"
#include "VXHostOptions.h"
#include "VXNearestWord.h"
#include "VXObjectColumns.h"
#include "VXPhonebookRecord.h"
#include "VXStoresAtPath.h"

#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

// Adds the name that may be meant, if the problem is a name that the entity does not have.
QString withHint(const QString &problem, const VXEntityDescription &entity, const QString &suggestion)
{
    static const QRegularExpression unknown(u" has no \"([^\"]*)\"$"_s);
    const QRegularExpressionMatch match = unknown.match(problem);
    if (!match.hasMatch())
        return problem;
    if (entity.propertyForName(u"otherParty_search"_s) != nullptr && VXRecordObject::isFurtherKey(match.captured(1)))
        return u"\"%1\" is looked up in the phonebook and not stored: ask for \"from\" or \"to\", as "
               "'from CONTAINS \"555\"', or use \"vornix search\""_s.arg(match.captured(1));
    return problem + suggestion + VXDidYouMean(match.captured(1), VXNamesOfProperties(entity));
}

QString readSort(const QString &text, VXFetchRequest &request)
{
    for (const QString &each : text.split(u',')) {
        const QString key = each.section(u':', 0, 0);
        const QString direction = each.section(u':', 1);
        if (each.contains(u':') && direction != "asc"_L1 && direction != "desc"_L1)
            return u"\"%1\" is neither asc nor desc"_s.arg(direction);
        request.sortDescriptors.append({.key = key, .isAscending = direction != "desc"_L1});
    }
    return withHint(VXSortProblem(request.sortDescriptors, request.entity()), request.entity(), {});
}

} // namespace

QString VXReadPredicate(const QString &text, VXFetchRequest &request)
{
    VXError error;
    const auto predicate = VXPredicate::predicateWithFormat(text, {}, &error);
    if (!predicate)
        return VXErrorText(error);
    if (const QStringList variables = predicate->variables(); !variables.isEmpty())
        return u"$%1 has no value"_s.arg(variables.first());
    QString problem;
    if (const auto fitting = VXPredicateForEntity(*predicate, request.entity(), &problem))
        request.predicate = *fitting;
    return withHint(problem, request.entity(), u"; texts stand in quotation marks"_s);
}

QString VXReadFetchOptions(const VXHostOptions &options, VXFetchRequest &request)
{
    const auto read = [&](const QString &name, const auto &reader) {
        const QString problem = options.isSet(name) ? reader(options.value(name)) : QString();
        return problem.isNull() ? QString() : u"--%1: %2"_s.arg(name, problem);
    };
    QString problem = read(u"where"_s, [&](const QString &text) { return VXReadPredicate(text, request); });
    if (problem.isNull())
        problem = read(u"sort"_s, [&](const QString &text) { return readSort(text, request); });
    request.limit = options.value(u"limit"_s).toLongLong();
    request.offset = options.value(u"offset"_s).toLongLong();
    return problem;
}
