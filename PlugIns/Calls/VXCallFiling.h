#pragma once

#include "VXCallStore.h"

#include <QtCore/QHash>
#include <QtCore/QVariant>

#include <functional>

/** Files the calls of a phone's lists, in slices that are compared and saved under the store's lock. Any thread, one at a time. */
class VXCallFiling
{
public:
    /** Between slices `isOver` is asked, on the thread that files. */
    VXCallFiling(const VXCallStore &store, const std::function<bool()> &isOver) : _store(store), _isOver(isOver) {}

    /** Items of "read_calls". False, with an error, when the store cannot be read or saved; what was saved before stays. */
    [[nodiscard]] bool file(const QVariantList &items, VXError *error);
    /** Of what was saved so far. */
    int addedCount() const { return _addedCount; }

private:
    bool fileSlice(const QVariantList &items, VXError *error);
    std::optional<bool> add(const QVariantMap &item, VXManagedObjectContext &context, VXError *error);

    const VXCallStore _store;
    const std::function<bool()> _isOver;
    QHash<QString, int> _undated; // how many of a list and number were met
    int _addedCount = 0;
};
