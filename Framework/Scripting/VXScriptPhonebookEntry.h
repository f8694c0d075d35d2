#pragma once

#include "VXFourCharCode.h"
#include "VXKeyValueCoding.h"
#include "VXObjectSpecifier.h"

#include <QtCore/QString>
#include <QtCore/QVariantMap>

#include <memory>

/** An object in which scripts find elements. */
class VX_EXPORT VXScriptContainer
{
public:
    virtual ~VXScriptContainer();
    /** The name in its class description. */
    virtual QString scriptClassName() const = 0;
    virtual VXObjectSpecifier objectSpecifier() const = 0;
};

/**
 * A phonebook string as seen by scripts: an element of a phonebook's numbers. The keys are those of the scripting
 * language: "as_string", "as_name", "as_number", "as_location", "as_type". Main thread only.
 */
class VX_EXPORT VXScriptPhonebookEntry : public VXKeyValueCoding
{
public:
    /** The element at that index of what the container has under the key. */
    static std::shared_ptr<VXScriptPhonebookEntry> entryWithPhonebookString(const QString &phonebookString,
                                                                            const VXScriptContainer &container,
                                                                            const QString &key, qsizetype index);
    VXScriptPhonebookEntry(const QString &phonebookString, const VXScriptContainer &container, const QString &key,
                           qsizetype index);

    QString phonebookString() const { return _phonebookString; }
    VXObjectSpecifier objectSpecifier() const { return _objectSpecifier; }

    /** The text to show: the name, or else the address. */
    QString as_string() const;
    /** The name; null for none. */
    QString as_name() const;
    /** The number or address; null for none. */
    QString as_number() const;
    /** "vXlh" for home, "vXlw" for work, "vXlo" for anything else. */
    VXFourCharCode as_location() const;
    /** "vXnf" for fax, "vXnm" for mobile, "vXnp" for pager, "vXn1" for the primary, "vXnu" for anything else. */
    VXFourCharCode as_type() const;

    /** Replaces the whole phonebook string. */
    void setAs_string(const QString &phonebookString);
    /** These two keep the other part, and drop the type. */
    void setAs_name(const QString &name);
    void setAs_number(const QString &number);

    QVariant valueForKey(const QString &key) const override;
    /** All of the above by key, with codes as texts. */
    QVariantMap values() const;

private:
    struct Parts;
    Parts parts() const;

    QString _phonebookString;
    const VXObjectSpecifier _objectSpecifier;
};
