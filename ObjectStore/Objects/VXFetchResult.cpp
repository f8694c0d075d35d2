#include "VXFetchResult.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXManagedObjectContext.h"

using namespace Qt::StringLiterals;

VXFetchResult::VXFetchResult(VXManagedObjectContext &context, const VXFetchRequest &request)
    : _context(&context), _batchSize(request.batchSize), _includesPropertyValues(request.includesPropertyValues)
{
    for (const QString &name : request.prefetchedRelationships) {
        const VXRelationshipDescription *const relationship = request.entity().relationshipForName(name);
        VXAssert(relationship != nullptr,
                 u"entity \"%1\" has no relationship \"%2\""_s.arg(request.entity().name(), name));
        _prefetched.append(relationship);
    }
}

bool VXFetchResult::setObjects(const QList<VXManagedObjectPtr> &objects, VXError *error)
{
    if (_batchSize == 0) {
        _objects = objects;
        return prefetch(error);
    }
    for (const VXManagedObjectPtr &object : objects) {
        _objectIDs.append(object->objectID());
        if (object->isInserted())
            _newObjects.insert(object->objectID(), object);
    }
    return true;
}

bool VXFetchResult::prefetch(VXError *error) const
{
    for (qsizetype place = 0; place < _prefetched.size() && !_objects.isEmpty(); ++place) {
        if (!_context->prefetch(_objects, *_prefetched[place], &_related, error))
            return false;
    }
    return true;
}

void VXFetchResult::readBatch(qsizetype start) const
{
    _batchStart = start;
    _related.clear();
    _objects.clear();
    for (const VXManagedObjectID &objectID : _objectIDs.mid(start, _batchSize)) {
        const VXManagedObjectPtr object = _newObjects.value(objectID);
        _objects.append(object ? object : _context->objectWithID(objectID));
    }
    VXError error;
    if ((_includesPropertyValues && !_context->fulfillFaults(_objects, &error)) || !prefetch(&error))
        VXReportDiagnostic(3, u"A batch cannot be read: %1"_s.arg(error.description()));
}

VXManagedObjectPtr VXFetchResult::at(qsizetype index) const
{
    if (_batchSize == 0)
        return _objects.at(index);
    VXAssert(index >= 0 && index < _objectIDs.size(), u"a fetch result has no object %1"_s.arg(index));
    const qsizetype start = index - index % _batchSize;
    if (start != _batchStart)
        readBatch(start);
    return _objects.at(index - start);
}
