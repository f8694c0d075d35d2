#include "VXInitializeInterface.h"

#include "VXPhonebookTransformer.h"

using namespace Qt::StringLiterals;

void VXInitializeInterface()
{
    static const bool initialized = [] {
        VXValueTransformer::setValueTransformer(u"VXPhonebookTransformer"_s,
                                                std::make_shared<VXPhonebookTransformer>());
        VXValueTransformer::setValueTransformer(u"VXDisplayStringForPhonebookString"_s,
                                                std::make_shared<VXPhonebookStringTransformer>());
        return true;
    }();
    Q_UNUSED(initialized);
}
