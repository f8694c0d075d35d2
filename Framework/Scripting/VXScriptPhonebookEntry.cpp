#include "VXScriptPhonebookEntry.h"

#include "VXPhonebookString.h"
#include "VXPhonebookTransformer.h"
#include "VXPhonebookType.h"

using namespace Qt::StringLiterals;

VXScriptContainer::~VXScriptContainer() = default;

std::shared_ptr<VXScriptPhonebookEntry>
VXScriptPhonebookEntry::entryWithPhonebookString(const QString &phonebookString, const VXScriptContainer &container,
                                                 const QString &key, qsizetype index)
{
    return std::make_shared<VXScriptPhonebookEntry>(phonebookString, container, key, index);
}

VXScriptPhonebookEntry::VXScriptPhonebookEntry(const QString &phonebookString, const VXScriptContainer &container,
                                               const QString &key, qsizetype index)
    : _phonebookString(phonebookString),
      _objectSpecifier(VXObjectSpecifier::atIndex(container.objectSpecifier(), container.scriptClassName(), key, index))
{
}

// What a string holds that has no valid address counts as well.
QString VXScriptPhonebookEntry::as_name() const
{
    QString name;
    static_cast<void>(VXPhonebookStringSplit(_phonebookString, &name));
    return name;
}

QString VXScriptPhonebookEntry::as_number() const
{
    QString number;
    static_cast<void>(VXPhonebookStringSplit(_phonebookString, nullptr, &number));
    return number;
}

unsigned VXScriptPhonebookEntry::typeMask() const
{
    unsigned mask = VXPhonebookTypeNone;
    static_cast<void>(VXPhonebookStringSplit(_phonebookString, nullptr, nullptr, &mask));
    return mask;
}

QString VXScriptPhonebookEntry::as_string() const
{
    return VXDisplayStringForPhonebookString(_phonebookString);
}

VXFourCharCode VXScriptPhonebookEntry::as_location() const
{
    switch (typeMask() & VXPhonebookTypeLocationMask) {
    case VXPhonebookTypeHome:
        return VXCode("vXlh");
    case VXPhonebookTypeWork:
        return VXCode("vXlw");
    default:
        return VXCode("vXlo");
    }
}

VXFourCharCode VXScriptPhonebookEntry::as_type() const
{
    switch (typeMask() & VXPhonebookTypeKindMask) {
    case VXPhonebookTypeFax:
        return VXCode("vXnf");
    case VXPhonebookTypeMobile:
        return VXCode("vXnm");
    case VXPhonebookTypePager:
        return VXCode("vXnp");
    case VXPhonebookTypePrimary:
        return VXCode("vXn1");
    default:
        return VXCode("vXnu");
    }
}

void VXScriptPhonebookEntry::setAs_string(const QString &phonebookString)
{
    _phonebookString = phonebookString;
}

void VXScriptPhonebookEntry::setAs_name(const QString &name)
{
    _phonebookString = VXPhonebookStringJoin(name, as_number(), VXPhonebookTypeNone);
}

void VXScriptPhonebookEntry::setAs_number(const QString &number)
{
    _phonebookString = VXPhonebookStringJoin(as_name(), number, VXPhonebookTypeNone);
}

QVariantMap VXScriptPhonebookEntry::values() const
{
    return {{u"phonebookString"_s, _phonebookString},
            {u"as_string"_s, as_string()},
            {u"as_name"_s, as_name()},
            {u"as_number"_s, as_number()},
            {u"as_location"_s, VXStringFromCode(as_location())},
            {u"as_type"_s, VXStringFromCode(as_type())}};
}

QVariant VXScriptPhonebookEntry::valueForKey(const QString &key) const
{
    return values().value(key);
}
