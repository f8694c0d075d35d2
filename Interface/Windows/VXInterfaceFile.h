#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>

class QObject;
class VXPlugin;

/**
 * Loads interface files (".ui", written by Qt Designer) of plugins. Widgets of the kit can be used by their class
 * names. The contents are connected with their owner by names:
 * - a property of the owner with the name of a widget receives that widget, if the types match;
 * - an invokable method "NAME_clicked" (or the name of another signal) of the owner is called by the widget NAME;
 * - a widget with the dynamic property "vxValue" shows the value of that key path of the owner, through the transformer
 *   named by "vxTransformer".
 * Windows belong to their owner, and are destroyed with it. Main thread only.
 */
class VX_INTERFACE_EXPORT VXInterfaceFile
{
public:
    /** The windows and connections of the file at the path, for the owner. False, logged, when it is no interface file. */
    static bool load(const QString &path, QObject &owner);

    /** Has plugins load their "NSMainNibFile" with this class. */
    static void install();

    VXInterfaceFile() = delete;
};
