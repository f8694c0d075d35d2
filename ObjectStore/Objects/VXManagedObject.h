#pragma once

#include "VXEntityDescription.h"
#include "VXError.h"
#include "VXKeyValueCoding.h"
#include "VXManagedObjectID.h"
#include "VXObjectRef.h"
#include "VXObjectStoreExport.h"
#include "VXStoreRow.h"

#include <QtCore/QList>
#include <QtCore/QVariant>

#include <memory>
#include <vector>

class VXManagedObject;
class VXManagedObjectContext;
class VXRelatedSet;

using VXManagedObjectPtr = VXObjectRef<VXManagedObject>;

/**
 * An object of a store, in one context, on that context's thread. A fault knows only its ID, and reads its values when
 * one is needed. Values are accessed by the property's index (VXPropertyDescription::index), which is fastest, or by
 * name. Subclasses, registered under the entity's class name (VXManagedObjectClass.h), add operations and override the
 * hooks.
 */
class VX_STORE_EXPORT VXManagedObject : public VXKeyValueCoding
{
public:
    /** Allocates several objects in one page (VXObjectMemory.h). */
    static void *operator new(size_t size);
    static void operator delete(void *memory);

    const VXManagedObjectID &objectID() const { return _objectID; }
    const VXEntityDescription &entity() const { return _objectID.entity(); }
    /** nullptr once the context is destroyed, or has dropped the object (deleted and saved, or reset). */
    VXManagedObjectContext *managedObjectContext() const { return _context; }

    bool isInserted() const { return _state == State::Inserted; }
    bool isUpdated() const { return _state == State::Updated; }
    bool isDeleted() const { return _state == State::Deleted; }
    bool hasChanges() const { return _state != State::Unchanged; }
    bool isFault() const { return _isFault; }

    /** The value of an attribute; for a to-one relationship the object (VXManagedObjectPtr), for a to-many relationship
     *  the list of objects. Reads the object if it is a fault; none when it no longer exists in the store. */
    QVariant valueForKey(const QString &key) const override;
    /** Sets an attribute or relationship. A value of the wrong type, or an unknown key, fails an assertion. */
    void setValueForKey(const QVariant &value, const QString &key);

    /** The value of an attribute by index. */
    QVariant attribute(int index) const
    {
        const VXStoreRow *const row = valuesWith(index);
        return row == nullptr ? QVariant() : row->value(index);
    }
    // The same without a QVariant; null for none and for attributes of another type. Views are valid until the object
    // changes, is saved or refreshed, or turns into a fault, and only while somebody keeps it.
    QStringView text(int index) const
    {
        const VXStoreRow *const row = valuesWith(index);
        return row == nullptr ? QStringView() : row->text(index);
    }
    QByteArrayView data(int index) const
    {
        const VXStoreRow *const row = valuesWith(index);
        return row == nullptr ? QByteArrayView() : row->data(index);
    }
    /** An integer; a boolean as 0 or 1; a date in milliseconds since 1970, UTC. */
    std::optional<qint64> number(int index) const
    {
        const VXStoreRow *const row = valuesWith(index);
        return row == nullptr ? std::nullopt : row->number(index);
    }
    std::optional<double> real(int index) const
    {
        const VXStoreRow *const row = valuesWith(index);
        return row == nullptr ? std::nullopt : row->real(index);
    }
    /** Whether an attribute or to-one relationship has the same value as in a row. */
    bool isSame(int index, const VXStoreRow &row, int rowIndex) const
    {
        const VXStoreRow *const own = valuesWith(index);
        return own != nullptr && own->isSame(index, row, rowIndex);
    }
    /** Setting a transient attribute makes no unsaved change. */
    void setAttribute(int index, const QVariant &value);
    // The same without a QVariant, for attributes of the corresponding type; any other fails an assertion.
    /** Null text and null data mean none. */
    void setText(int index, QStringView text);
    void setData(int index, QByteArrayView data);
    /** In the form that `number` returns: in the range of the attribute's type; a boolean as 0 or 1. */
    void setNumber(int index, qint64 number);
    void setReal(int index, double real);
    /** Copies the value of an attribute of the same type from another object, perhaps in another context, without a
     *  QVariant. */
    void copyAttribute(int index, const VXManagedObject &other, int otherIndex);

    /** The object of a to-one relationship; nullptr for none. */
    VXManagedObjectPtr related(int index) const;
    void setRelated(int index, const VXManagedObjectPtr &object);
    /** The objects of a to-many relationship, in no particular order. */
    QList<VXManagedObjectPtr> relatedObjects(int index) const;
    /** Their number, without making the objects. */
    qsizetype relatedCount(int index) const;
    /** The ID of a to-one relationship's object, without making the object; nullptr for none. Valid as long as the
     *  views above. */
    const VXManagedObjectID *relatedID(int index) const;
    /** The IDs of a relationship's objects, of either kind, without making the objects. */
    QList<VXManagedObjectID> relatedIDs(int index) const;
    void addRelated(int index, const VXManagedObjectPtr &object);
    void removeRelated(int index, const VXManagedObjectPtr &object);
    void setRelatedObjects(int index, const QList<VXManagedObjectPtr> &objects);

    /** The values last read or saved, by name; without to-many relationships that were not read. */
    QVariantMap committedValues(const QStringList &keys = {}) const;
    /** The values that differ from those. */
    QVariantMap changedValues() const;

protected:
    friend class VXManagedObjectContext;
    friend class VXManagedObjectClass;
    friend class VXChangedObjects;
    template <class T>
    friend class VXObjectRef;

    VXManagedObject();
    ~VXManagedObject() override;

    // -- Hooks for subclasses
    virtual void awakeFromInsert() {}
    virtual void awakeFromFetch() {}
    /** Called before the object is saved, once per save; may change this and other objects. */
    virtual void willSave() {}
    virtual void didSave() {}
    virtual void willTurnIntoFault() {}
    /** Whether it can be saved; if not, the first problem as error. Overrides must call the base class. */
    virtual bool validateForInsert(VXError *error) const;
    virtual bool validateForUpdate(VXError *error) const;
    virtual bool validateForDelete(VXError *error) const;

private:
    enum class State : quint8 { Unchanged, Inserted, Updated, Deleted };

    void retain() { ++_holders; }
    void release();

    /** Objects are never constant themselves, and reading a fault modifies it. */
    VXManagedObject &self() const { return const_cast<VXManagedObject &>(*this); }
    const VXPropertyDescription &property(int index) const;
    const VXPropertyDescription &property(const QString &key) const;
    const VXRelationshipDescription &relationship(int index, bool isToMany) const;
    /** The present values; reads a fault. nullptr when the object no longer exists in the store. */
    const VXStoreRow *values() const;
    /** The same, for an index that the object must have. */
    const VXStoreRow *valuesWith(int index) const
    {
        const VXStoreRow *const row = _values ? _values.get() : _row.get();
        return Q_LIKELY(!_isFault && index >= 0 && index < row->propertyCount()) ? row : readValuesWith(index);
    }
    const VXStoreRow *readValuesWith(int index) const;
    /** Reads a fault. False when it is gone, and when it cannot be read, which fails the next save. */
    bool canBeChanged(const VXPropertyDescription &property);
    /** Reads what a relationship leads to, but for the objects' own values. False when it cannot be read, which fails the
     *  next save. */
    bool canReadRelated(const VXRelationshipDescription &relationship);
    /** Has `set` change the values. */
    template <class Set>
    void changeValues(const VXPropertyDescription &property, const Set &set);
    void setTarget(const VXRelationshipDescription &relationship, const VXManagedObjectID &target);
    template <class IsSame, class Set>
    void setPlain(int index, VXAttributeType type, const IsSame &isSame, const Set &set);
    void setStoredRow(VXStoreRow::Ptr row);
    static QVariantList variants(const QList<VXManagedObjectPtr> &objects);
    QVariant objectValue(const VXStoreRow &row, const VXPropertyDescription &property) const;
    bool hasMandatoryValues(VXError *error) const;
    void assertFits(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object) const;

    // -- One end of a relationship; the caller updates the other
    VXManagedObjectPtr target(const VXStoreRow &row, const VXRelationshipDescription &relationship) const;
    VXRelatedSet *findRelatedSet(const VXRelationshipDescription &relationship) const;
    VXRelatedSet &relatedSet(const VXRelationshipDescription &relationship);
    /** Reads it from the store, if possible. */
    VXRelatedSet &readRelatedSet(const VXRelationshipDescription &relationship) const;
    void attach(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object);
    void detach(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object);
    bool hasRelationshipChanges() const;

    VXManagedObjectContext *_context = nullptr;
    VXManagedObjectID _objectID;
    VXStoreRow::Ptr _row;                                    // as last read or saved; null for faults and new objects
    std::shared_ptr<VXStoreRow> _values;                     // all values, once one was changed; otherwise null
    std::unique_ptr<std::vector<VXRelatedSet>> _relatedSets; // of relationships that were read or changed
    qsizetype _place = 0;                                    // index in the context's list of changed objects
    quint32 _holders = 0;     // references; the context has one of them while there are changes
    quint32 _askedInSave = 0; // the number of the context's save that called willSave() last
    State _state = State::Unchanged;
    bool _isFault = true;
    bool _isNoted = false;          // is among those that the context's observers will be notified of
    bool _isRefreshed = false;      // likewise, without changes
    bool _isInsertionKnown = false; // those observers know that it was inserted
};

Q_DECLARE_METATYPE(VXManagedObjectPtr)
Q_DECLARE_TYPEINFO(VXManagedObjectPtr, Q_RELOCATABLE_TYPE);
