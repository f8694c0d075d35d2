#pragma once

#include "VXTextComparison.h"

#include <QtCore/QSet>
#include <QtCore/QVariant>

/** The elements of a long list in a predicate: whether a text or a whole number is among them takes no walk over all. */
class VXConstantSet
{
public:
    VXConstantSet(const QVariantList &elements, VXTextOptions options);

    /** Whether an element equals the value, as VXEqualValues has it, texts compared with the options. */
    bool contains(const QVariant &value) const;

private:
    const VXTextOptions _options;
    QSet<QString> _texts; // folded
    QSet<qint64> _numbers;
    QVariantList _others;
};
