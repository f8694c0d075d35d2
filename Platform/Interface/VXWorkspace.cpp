#include "VXWorkspace.h"

#include "VXFreedesktopWorkspace.h"

using namespace Qt::StringLiterals;

VXWorkspace::VXWorkspace() = default;

VXWorkspace::~VXWorkspace() = default;

std::unique_ptr<VXWorkspace> VXWorkspace::freedesktopWorkspace()
{
    return std::make_unique<VXFreedesktopWorkspace>();
}

QString VXWorkspace::selectedText(QString *reason) const
{
    QString unused;
    QString &why = reason != nullptr ? *reason : unused;
    if (_selectedText)
        return _selectedText(&why);
    why = u"this program is not connected to a desktop"_s;
    return {};
}
