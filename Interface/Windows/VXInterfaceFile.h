#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>

class QObject;
class VXPlugin;

/**
 * Interface files (".ui", as Qt Designer writes them) of plugins. Widgets of the kit may be used by their class names. What lies
 * in the file is connected with its owner by names:
 *   - a property of the owner that is named as a widget gets that widget, when their types agree;
 *   - an invokable method "NAME_clicked" (or another signal's name) of the owner is called by the widget NAME;
 *   - a widget with the dynamic property "vxValue" shows the value of that key path of the owner, through the transformer that
 *     "vxTransformer" names.
 * Windows belong to their owner: they go when it goes. Main thread only.
 */
class VX_INTERFACE_EXPORT VXInterfaceFile
{
public:
    /** The windows and connections of the file at the path, for the owner. False, logged, when it is no interface file. */
    static bool load(const QString &path, QObject &owner);

    /** Has plugins load their "NSMainNibFile" so. */
    static void install();

    VXInterfaceFile() = delete;
};
