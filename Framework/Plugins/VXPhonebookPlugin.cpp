#include "VXPhonebookPlugin.h"

VXPhonebookPlugin::VXPhonebookPlugin() = default;

VXPhonebookPlugin::~VXPhonebookPlugin() = default;

QVariantList VXPhonebookPlugin::completionsForSubstring(const QString &, unsigned, unsigned)
{
    return {};
}

QVariant VXPhonebookPlugin::phonebookEntryForName(const QString &)
{
    return {};
}

QVariant VXPhonebookPlugin::phonebookEntryForEmailAddress(const QString &, unsigned, const QString &)
{
    return {};
}

QVariant VXPhonebookPlugin::phonebookEntryForPhoneNumber(const QString &, unsigned, const QString &)
{
    return {};
}
