#include "VXScriptPhonebookEntry.h"

#include "VXPhonebookString.h"
#include "VXPhonebookTransformer.h"
#include "VXPhonebookType.h"

using namespace Qt::StringLiterals;

namespace {

VXFourCharCode locationOfType(unsigned type)
{
    switch (type & VXPhonebookTypeLocationMask) {
    case VXPhonebookTypeHome:
        return VXCode("vXlh");
    case VXPhonebookTypeWork:
        return VXCode("vXlw");
    default:
        return VXCode("vXlo");
    }
}

VXFourCharCode kindOfType(unsigned type)
{
    switch (type & VXPhonebookTypeKindMask) {
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

} // namespace

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

struct VXScriptPhonebookEntry::Parts
{
    QString name;
    QString number;
    unsigned type = VXPhonebookTypeNone;
};

// Includes the parts of a string without a valid address.
VXScriptPhonebookEntry::Parts VXScriptPhonebookEntry::parts() const
{
    Parts parts;
    static_cast<void>(VXPhonebookStringSplit(_phonebookString, &parts.name, &parts.number, &parts.type));
    return parts;
}

QString VXScriptPhonebookEntry::as_string() const
{
    return VXDisplayStringForPhonebookString(_phonebookString);
}

QString VXScriptPhonebookEntry::as_name() const
{
    return parts().name;
}

QString VXScriptPhonebookEntry::as_number() const
{
    return parts().number;
}

VXFourCharCode VXScriptPhonebookEntry::as_location() const
{
    return locationOfType(parts().type);
}

VXFourCharCode VXScriptPhonebookEntry::as_type() const
{
    return kindOfType(parts().type);
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
    const Parts parts = this->parts();
    return {{u"phonebookString"_s, _phonebookString},
            {u"as_string"_s, as_string()},
            {u"as_name"_s, parts.name},
            {u"as_number"_s, parts.number},
            {u"as_location"_s, VXStringFromCode(locationOfType(parts.type))},
            {u"as_type"_s, VXStringFromCode(kindOfType(parts.type))}};
}

QVariant VXScriptPhonebookEntry::valueForKey(const QString &key) const
{
    return values().value(key);
}
