// Any text as a predicate: reading ends with a predicate or an error that tells the place; a predicate can be evaluated,
// and its own text reads back as an equal one with the same result.

#include "VXFuzzing.h"
#include "VXPredicate.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

namespace {

QVariantMap object()
{
    const QVariantMap jane{{u"name"_s, u"Zoë"_s}, {u"age"_s, 41}};
    return {{u"a"_s, u"+49 170 Zoë"_s},
            {u"b"_s, 7},
            {u"c"_s, 0.25},
            {u"d"_s, QDateTime::fromMSecsSinceEpoch(1'000'000'000'000, Qt::UTC)},
            {u"e"_s, QByteArray("\1\2")},
            {u"f"_s, QVariantList{jane, QVariantMap{{u"age"_s, true}}, 5}},
            {u"g"_s, jane}};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariantList arguments = {u"g.name"_s, u"x"_s, 3, QVariantList{1, u"b"_s}};
    VXError error;
    const auto predicate = VXPredicate::predicateWithFormat(text, arguments, &error);
    require(predicate.has_value() != bool(error));
    if (!predicate)
        return 0;
    const auto again = VXPredicate::predicateWithFormat(predicate->predicateFormat(), {}, &error);
    require(again.has_value() && *again == *predicate);
    const QVariantMap variables{{u"X"_s, 1}, {u"Y"_s, u"z*"_s}};
    require(predicate->evaluateWithObject(object()) == again->evaluateWithObject(object()));
    require(predicate->substituted(variables).evaluateWithObject(object()) ==
            again->substituted(variables).evaluateWithObject(object()));
    return 0;
}
