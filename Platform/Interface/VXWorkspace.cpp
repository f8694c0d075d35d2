#include "VXWorkspace.h"

#include "VXFreedesktopWorkspace.h"

VXWorkspace::VXWorkspace() = default;

VXWorkspace::~VXWorkspace() = default;

std::unique_ptr<VXWorkspace> VXWorkspace::freedesktopWorkspace()
{
    return std::make_unique<VXFreedesktopWorkspace>();
}
