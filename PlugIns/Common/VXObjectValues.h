#pragma once

#include "VXKeyValueCoding.h"
#include "VXValueText.h"

#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <vector>

// The values of events' objects (maps, managed objects, QObjects), by name. On the object's thread.

/**
 * Converts contacts of a store, whose lists are kept in objects of their own, into maps with the keys of records;
 * everything else is left as it is.
 */
QVariantList VXRecordsOfObjects(const QVariantList &objects);

/**
 * Names of the object's values: stored attributes in the model's order, without those that only serve searching
 * ("..._search"); a map's keys, sorted; properties as declared.
 */
QStringList VXKeysOfObject(const QVariant &object);

/** All its values; null for something that is not an object. */
QJsonValue VXPlainJSONOfObject(const QVariant &object);

/** Reads the same values of many objects, by index if they are attributes. Keys may be key paths. */
class VXColumnReader
{
public:
    explicit VXColumnReader(const QStringList &keys) : _keys(keys), _indices(static_cast<size_t>(keys.size()), -1) {}

    /** Calls `use(column, value)` for each key. */
    template <class Use>
    void read(const QVariant &object, Use &&use)
    {
        const VXManagedObject *const managed = VXManagedObjectIn(object);
        if (managed != nullptr && &managed->entity() != _entity)
            setEntity(managed->entity());
        for (qsizetype column = 0; column < _keys.size(); ++column) {
            const int index = managed != nullptr ? _indices[static_cast<size_t>(column)] : -1;
            if (index >= 0)
                use(column, managed->attribute(index));
            else
                use(column,
                    managed == nullptr ? valueIn(object, _keys[column]) : VXValueForKeyPath(object, _keys[column]));
        }
    }

private:
    /** Looks the key up in a map first, since its keys may contain dots. */
    static QVariant valueIn(const QVariant &object, const QString &key);
    void setEntity(const VXEntityDescription &entity);

    const QStringList _keys;
    std::vector<int> _indices; // of attributes; -1 for others
    const VXEntityDescription *_entity = nullptr;
};
