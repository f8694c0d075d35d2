#pragma once

#include "VXKeyValueCoding.h"
#include "VXManagedObject.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <vector>

// The values of events' objects (maps, managed objects, QObjects), by name and as text. On the object's thread.

/** nullptr when the object is none. */
const VXManagedObject *VXManagedObjectIn(const QVariant &object);

/** Contacts of a store as maps with the keys of records, whose lists lie in objects of their own; all else as it is. */
QVariantList VXRecordsOfObjects(const QVariantList &objects);

/** Names of its values: stored attributes in the model's order, but for those that are only searched ("..._search"); a map's
 *  keys sorted; properties as declared. */
QStringList VXKeysOfObject(const QVariant &object);

/**
 * Appends a value as people read it, in UTF-8; nothing for none. Dates as "2026-01-31 17:05:09" in local time, or with
 * `inUTC` as "2026-01-31T16:05:09Z" (RFC 3339); data as Base64; lists with ", " between, and in them the numbers, addresses and
 * groups of contacts as "+1 555 0100/m"; maps as JSON; a managed object as its URI.
 */
void VXAppendValueText(QByteArray &text, const QVariant &value, bool inUTC = false);
QString VXValueText(const QVariant &value, bool inUTC = false);

/** As JSON for other programs, unlike VXJSONFromVariant with no way back: dates as RFC 3339 in UTC, data as Base64, managed objects as URIs, numbers that are not finite as null. */
QJsonValue VXPlainJSON(const QVariant &value);
/** All its values; null for an object that is none. */
QJsonValue VXPlainJSONOfObject(const QVariant &object);

/** Reads the same values of many objects, by index where they are attributes. Keys may be key paths. */
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
    /** A map may have a key with dots in it. */
    static QVariant valueIn(const QVariant &object, const QString &key);
    void setEntity(const VXEntityDescription &entity);

    const QStringList _keys;
    std::vector<int> _indices; // of attributes; -1 for others
    const VXEntityDescription *_entity = nullptr;
};
