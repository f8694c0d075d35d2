#pragma once

#include "VXManagedObject.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <iterator>

class VXFetchRequest;
class VXManagedObjectContext;

/**
 * The objects that a fetch found, in order. With a batch size, only the batch being iterated is in memory, unless
 * somebody else keeps objects. To be used on the context's thread, and only while the context exists.
 */
class VX_STORE_EXPORT VXFetchResult
{
public:
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = VXManagedObjectPtr;
        using difference_type = qsizetype;
        using pointer = const VXManagedObjectPtr *;
        using reference = VXManagedObjectPtr;

        Iterator(const VXFetchResult &result, qsizetype index) : _result(&result), _index(index) {}
        VXManagedObjectPtr operator*() const { return _result->at(_index); }
        Iterator &operator++()
        {
            ++_index;
            return *this;
        }
        friend bool operator==(const Iterator &a, const Iterator &b) { return a._index == b._index; }

    private:
        const VXFetchResult *_result;
        qsizetype _index;
    };

    qsizetype size() const { return _batchSize == 0 ? _objects.size() : _objectIDs.size(); }
    bool isEmpty() const { return size() == 0; }
    /** Reads the batch that contains the object, if need be; a failure to read is reported as a diagnostic. */
    VXManagedObjectPtr at(qsizetype index) const;
    VXManagedObjectPtr first() const { return isEmpty() ? VXManagedObjectPtr() : at(0); }
    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size()}; }

private:
    friend class VXManagedObjectContext;

    VXFetchResult(VXManagedObjectContext &context, const VXFetchRequest &request);
    bool setObjects(const QList<VXManagedObjectPtr> &objects, VXError *error);
    bool prefetch(VXError *error) const;
    void readBatch(qsizetype start) const;

    VXManagedObjectContext *_context;
    qsizetype _batchSize;
    bool _includesPropertyValues;
    QList<const VXRelationshipDescription *> _prefetched;
    QList<VXManagedObjectID> _objectIDs;                      // if there is a batch size
    QHash<VXManagedObjectID, VXManagedObjectPtr> _newObjects; // those of _objectIDs that are not saved yet
    mutable QList<VXManagedObjectPtr> _objects;               // all, or those of the present batch
    mutable QList<VXManagedObjectPtr> _related;               // prefetched for these
    mutable qsizetype _batchStart = -1;
};
