#pragma once

#include "VXManagedObject.h"
#include "VXMetaDataSource.h"

#include <QtCore/QString>

#include <optional>

/**
 * A person of the phonebook. Before it is saved, the values it is sorted and found by are brought into line with its
 * name, numbers and addresses, and its changedDate is set, unless whoever changed it has already done so.
 */
class VXPerson : public VXManagedObject, public VXMetaDataSource
{
public:
    static const QString entityName; // "VXPerson"

    /** Includes "displayString". */
    QVariant valueForKey(const QString &key) const override;
    std::optional<QVariantMap> metaDataPlist() const override;

    /** To be called when one of its numbers or addresses is about to be saved. */
    void ownDidChange();
    /** Brings what it is found by while it is typed in step with what is written of it. */
    void updateWords();
    /** The same with the search texts of its numbers. */
    void updateAllItIsFoundBy();

protected:
    void willSave() override;

private:
    void updateSortName();
    void updateDate();
};

/** What a number and an e-mail address have in common: a search text, and a person who is found by them. */
class VXContactAddress : public VXManagedObject
{
public:
    void updateSearch();

protected:
    void willSave() override;
    /** The value in the form in which it is looked up. */
    virtual QString searchText() const = 0;
};

/** A group, by which its members are found. */
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
