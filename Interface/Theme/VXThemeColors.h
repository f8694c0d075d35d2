#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QHash>
#include <QtGui/QColor>
#include <QtGui/QPalette>

/** The colours of a theme; what has no entry is made of these. A plain value. */
struct VX_INTERFACE_EXPORT VXThemeColors
{
    QColor window;    // behind everything
    QColor sidebar;   // beside what is worked on
    QColor base;      // lists and fields
    QColor raised;    // buttons, cards, menus
    QColor hover;     // under the pointer
    QColor border;    // around fields and buttons
    QColor line;      // between rows and panes
    QColor text;      // contrast with window and base at least 7:1
    QColor quietText; // at least 4.5:1
    QColor accent;    // what is chosen or comes first; 4.5:1 below onAccent
    QColor onAccent;
    QColor selection; // of rows and texts, below `text`
    QColor good;      // states, as texts on window and base: at least 4.5:1
    QColor warning;
    QColor bad;
    QColor shadow;
    bool isDark = false;

    static const VXThemeColors &light();
    static const VXThemeColors &dark();

    QPalette palette() const;
    /** The colours by their names above, as the style sheet and drawings write them. */
    QHash<QString, QColor> byName() const;
};
