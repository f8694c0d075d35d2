#pragma once

#include "VXTextComparison.h"

#include <QtCore/QSet>
#include <QtCore/QVariant>

/** The elements of a long list in a predicate: finds texts and integers without going through all elements. */
class VXConstantSet
{
public:
    VXConstantSet(const QVariantList &elements, VXTextOptions options);

    /** Whether an element equals the value in the sense of VXEqualValues, with texts compared by the options. */
    bool contains(const QVariant &value) const;

private:
    const VXTextOptions _options;
    QSet<QString> _texts; // folded
    QSet<qint64> _numbers;
    QVariantList _others;
};
