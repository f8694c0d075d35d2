#pragma once

#include "VXManagedObjectModel.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <stdexcept>
#include <utility>

// The models of the benchmarks' stores. What goes wrong ends the benchmark: it throws.

/** The value itself, or the end. */
template <class T>
T &&required(T &&value, const VXError &error = {})
{
    if (!value)
        throw std::runtime_error(error.description().toStdString());
    return std::forward<T>(value);
}

inline void check(bool isDone, const char *problem)
{
    if (!isDone)
        throw std::runtime_error(problem);
}

/** The eight attributes of the calls that stores are measured with. */
extern const QByteArray callAttributes;

VXManagedObjectModel::Ptr modelFromSource(const QByteArray &source);
/** One of all the entities in these files. */
VXManagedObjectModel::Ptr modelFromFiles(const QStringList &paths);
