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

protected:
    void willSave() override;

private:
    void updateSortName();
    void updateWords();
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
