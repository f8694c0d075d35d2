#include "VXPhonebookPluginString.h"

#include "VXBundle.h"

QString VXPhonebookPluginString(const QString &key)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(QStringLiteral("com.halvern.VNX2.plugin.phonebook"));
    return bundle ? bundle->localizedStringForKey(key) : key;
}
