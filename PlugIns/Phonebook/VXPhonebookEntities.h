#pragma once

#include "VXManagedObject.h"
#include "VXMetaDataSource.h"

#include <QtCore/QString>

#include <optional>

/**
 * A person of the phonebook. Before it is saved, what it is sorted and found by is brought in step with its name, numbers and
 * addresses, and its changedDate is set, unless whoever changed it has done that.
 */
class VXPerson : public VXManagedObject, public VXMetaDataSource
{
public:
    static const QString entityName; // "VXPerson"

    /** Also "displayString". */
    QVariant valueForKey(const QString &key) const override;
    std::optional<QVariantMap> metaDataPlist() const override;

    /** A number or address of it is about to be saved. */
    void ownDidChange();
    /** Brings what it is found by while it is typed in step with what is written of it. */
    void updateWords();

protected:
    void willSave() override;

private:
    void updateSortName();
    void updateDate();
};

/** What a number and an e-mail address have in common: a search text, and a person that is found by them. */
class VXContactAddress : public VXManagedObject
{
protected:
    void willSave() override;
    /** From the value, as it is looked up. */
    virtual QString searchText() const = 0;
};

/** A group, which its members are found by. */
class VXContactGroup : public VXManagedObject, public VXMetaDataPart
{
public:
    static const QString entityName; // "VXGroup"

    QList<VXManagedObjectID> objectsToldAnew() const override;

protected:
    void willSave() override;

private:
    bool isRenamed() const;
};

class VXPhoneNumberEntry : public VXContactAddress
{
public:
    static const QString entityName; // "VXPhoneNumber"

protected:
    QString searchText() const override;
};

class VXEmailAddressEntry : public VXContactAddress
{
public:
    static const QString entityName; // "VXEmailAddress"

protected:
    QString searchText() const override;
};
