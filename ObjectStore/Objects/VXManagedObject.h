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
 * An object of a store, in one context, on that context's thread. A fault knows only who it is, and reads its values when one
 * is asked for. Values are reached fastest by the property's index (VXPropertyDescription::index), else by name. Subclasses,
 * registered under the entity's class name (VXManagedObjectClass.h), add operations and override the hooks.
 */
class VX_STORE_EXPORT VXManagedObject : public VXKeyValueCoding
{
public:
    /** Several in one piece of memory (VXObjectMemory.h). */
    static void *operator new(size_t size);
    static void operator delete(void *memory);

    const VXManagedObjectID &objectID() const { return _objectID; }
    const VXEntityDescription &entity() const { return _objectID.entity(); }
    /** nullptr once the context is gone, or has forgotten the object (deleted and saved, reset). */
    VXManagedObjectContext *managedObjectContext() const { return _context; }

    bool isInserted() const { return _state == State::Inserted; }
    bool isUpdated() const { return _state == State::Updated; }
    bool isDeleted() const { return _state == State::Deleted; }
    bool hasChanges() const { return _state != State::Unchanged; }
    bool isFault() const { return _isFault; }

    /** The value of an attribute; of a to-one relationship the object (VXManagedObjectPtr), of a to-many one the list of
     * objects. Reads the object if it is a fault; none when it is gone from the store. */
    QVariant valueForKey(const QString &key) const override;
    /** Sets an attribute (a value of another type fails an assertion) or relationship. An unknown key fails one too. */
    void setValueForKey(const QVariant &value, const QString &key);

    /** By index. */
    QVariant attribute(int index) const
    {
        const VXStoreRow *const row = valuesWith(index);
        return row == nullptr ? QVariant() : row->value(index);
    }
    // The same without a QVariant; null for none and for attributes of another type. Views hold until the object changes, is
    // saved or refreshed, or turns into a fault, and no longer than somebody holds it.
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
    /** A whole number, a boolean as 0 or 1, a date in milliseconds since 1970, UTC. */
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
    /** Whether an attribute, or a relationship to one object, is what that of a row is. */
    bool isSame(int index, const VXStoreRow &row, int rowIndex) const
    {
        const VXStoreRow *const own = valuesWith(index);
        return own != nullptr && own->isSame(index, row, rowIndex);
    }
    /** One that is transient makes no unsaved change. */
    void setAttribute(int index, const QVariant &value);
    // The same without a QVariant, of an attribute whose type holds just that; anything else fails an assertion.
    /** A null text is none, and so is null data. */
    void setText(int index, QStringView text);
    void setData(int index, QByteArrayView data);
    /** As `number` gives it: in the range of the attribute's type, a boolean as 0 or 1. */
    void setNumber(int index, qint64 number);
    void setReal(int index, double real);
    /** To what an attribute of the same type of another object is, which may be of another context, without making a QVariant. */
    void copyAttribute(int index, const VXManagedObject &other, int otherIndex);

    /** nullptr for none. */
    VXManagedObjectPtr related(int index) const;
    void setRelated(int index, const VXManagedObjectPtr &object);
    /** What a to-many relationship leads to, in no particular order. */
    QList<VXManagedObjectPtr> relatedObjects(int index) const;
    /** Without making the objects. */
    qsizetype relatedCount(int index) const;
    /** What a to-one relationship leads to, without making the object; nullptr for none. Holds as long as the views above. */
    const VXManagedObjectID *relatedID(int index) const;
    /** What a relationship of either kind leads to, without making the objects. */
    QList<VXManagedObjectID> relatedIDs(int index) const;
    void addRelated(int index, const VXManagedObjectPtr &object);
    void removeRelated(int index, const VXManagedObjectPtr &object);
    void setRelatedObjects(int index, const QList<VXManagedObjectPtr> &objects);

    /** The values as last read or saved, by name; without to-many relationships unless they were read. */
    QVariantMap committedValues(const QStringList &keys = {}) const;
    /** What differs from those. */
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
    /** Before it is saved, once for each save; may change the object and others. */
    virtual void willSave() {}
    virtual void didSave() {}
    virtual void willTurnIntoFault() {}
    /** Whether it can be saved as it is; the first problem as error. Call the base class's. */
    virtual bool validateForInsert(VXError *error) const;
    virtual bool validateForUpdate(VXError *error) const;
    virtual bool validateForDelete(VXError *error) const;

private:
    enum class State : quint8 { Unchanged, Inserted, Updated, Deleted };

    void retain() { ++_holders; }
    void release();

    /** Objects are never constant themselves, but reading a fault fills it. */
    VXManagedObject &self() const { return const_cast<VXManagedObject &>(*this); }
    const VXPropertyDescription &property(int index) const;
    const VXPropertyDescription &property(const QString &key) const;
    const VXRelationshipDescription &relationship(int index, bool isToMany) const;
    /** The present values; reads a fault. nullptr when the object is gone from the store. */
    const VXStoreRow *values() const;
    /** The same, of an object that has such a property. */
    const VXStoreRow *valuesWith(int index) const
    {
        const VXStoreRow *const row = _values ? _values.get() : _row.get();
        return Q_LIKELY(!_isFault && index >= 0 && index < row->propertyCount()) ? row : readValuesWith(index);
    }
    const VXStoreRow *readValuesWith(int index) const;
    /** Reads a fault. False when it is gone, and when it cannot be read, which fails the next save. */
    bool canBeChanged(const VXPropertyDescription &property);
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

    // -- One end of a relationship; the caller sees to the other
    VXManagedObjectPtr target(const VXStoreRow &row, const VXRelationshipDescription &relationship) const;
    VXRelatedSet *findRelatedSet(const VXRelationshipDescription &relationship) const;
    VXRelatedSet &relatedSet(const VXRelationshipDescription &relationship);
    /** Read from the store, if that can be done. */
    VXRelatedSet &readRelatedSet(const VXRelationshipDescription &relationship) const;
    void attach(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object);
    void detach(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object);
    bool hasRelationshipChanges() const;

    VXManagedObjectContext *_context = nullptr;
    VXManagedObjectID _objectID;
    VXStoreRow::Ptr _row;                                    // as last read or saved; null: a fault, or new
    std::shared_ptr<VXStoreRow> _values;                     // all values once one has changed; else null
    std::unique_ptr<std::vector<VXRelatedSet>> _relatedSets; // of relationships that were read or changed
    qsizetype _place = 0;                                    // in the context's list of changed objects
    quint32 _holders = 0;     // references, one of them the context's while it has changes
    quint32 _askedInSave = 0; // the context's number of the save that asked it last
    State _state = State::Unchanged;
    bool _isFault = true;
    bool _isNoted = false;          // among those that observers of the context will be told of
    bool _isRefreshed = false;      // the same, without changes
    bool _isInsertionKnown = false; // to those observers
};

Q_DECLARE_METATYPE(VXManagedObjectPtr)
Q_DECLARE_TYPEINFO(VXManagedObjectPtr, Q_RELOCATABLE_TYPE);
