#include "VXInitializeInterface.h"

#include "VXDeviceTransformer.h"
#include "VXPhonebookTransformer.h"

using namespace Qt::StringLiterals;

void VXInitializeInterface()
{
    static const bool initialized = [] {
        VXValueTransformer::setValueTransformer(u"VXDeviceStringToURL"_s, std::make_shared<VXDeviceStringToURL>());
        VXValueTransformer::setValueTransformer(u"VXDeviceNameAtURL"_s, std::make_shared<VXDeviceNameAtURL>());
        VXValueTransformer::setValueTransformer(u"VXDeviceAtPath"_s, std::make_shared<VXDeviceAtPath>());
        VXValueTransformer::setValueTransformer(u"VXDeviceOnlineColor"_s, std::make_shared<VXDeviceOnlineColor>());
        VXValueTransformer::setValueTransformer(u"VXPhonebookTransformer"_s,
                                                std::make_shared<VXPhonebookTransformer>());
        VXValueTransformer::setValueTransformer(u"VXDisplayStringForPhonebookString"_s,
                                                std::make_shared<VXPhonebookStringTransformer>());
        return true;
    }();
    Q_UNUSED(initialized);
}
