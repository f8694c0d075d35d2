#pragma once

#include "VXManagedObjectID.h"
#include "VXTextComparison.h"

#include <QtCore/QSet>
#include <QtCore/QVariant>

#include <optional>
#include <utility>

class VXKeyValueCoding;

/** The elements of a long list in a predicate: whether a value is among them takes no walk over all, but for lists and maps. */
class VXConstantSet
{
public:
    VXConstantSet(const QVariantList &elements, VXTextOptions options);

    /** Whether an element equals the value in the sense of VXEqualValues, with texts compared by the options. */
    bool contains(const QVariant &value) const;

private:
    template <class Set, class Call>
    static std::optional<bool> find(Set &self, const QVariant &value, const Call &call);

    const VXTextOptions _options;
    bool _hasNone = false;
    QSet<QString> _texts;  // folded
    QSet<qint64> _numbers; // also real ones without a fraction
    QSet<double> _reals;
    QSet<qint64> _dates; // milliseconds
    QSet<QByteArray> _data;
    QSet<VXManagedObjectID> _objectIDs;
    QSet<std::pair<int, VXKeyValueCoding *>> _objects; // by type: of another type it is another value
    QVariantList _others;
};
