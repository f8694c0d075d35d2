#include "VXInterfacePlugin.h"

VXInterfacePlugin::VXInterfacePlugin() = default;

VXInterfacePlugin::~VXInterfacePlugin() = default;

QVariant VXInterfacePlugin::openURLString(const QString &)
{
    return {};
}

QStringList VXInterfacePlugin::urlStringsForOpenWindows() const
{
    return {};
}

bool VXInterfacePlugin::needsSetup() const
{
    return false;
}

void VXInterfacePlugin::runModalSetup() {}
