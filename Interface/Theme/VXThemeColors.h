#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QHash>
#include <QtGui/QColor>
#include <QtGui/QPalette>

/** The colours of a theme; colours without an entry are derived from these. A value type. */
struct VX_INTERFACE_EXPORT VXThemeColors
{
    QColor window;    // behind everything
    QColor sidebar;   // beside the main contents
    QColor base;      // lists and fields
    QColor raised;    // buttons, cards, menus
    QColor hover;     // under the pointer
    QColor border;    // around fields and buttons
    QColor line;      // between rows and panes
    QColor text;      // contrast with window and base at least 7:1
    QColor quietText; // at least 4.5:1
    QColor accent;    // selected or primary elements; contrast with onAccent 4.5:1
    QColor onAccent;
    QColor selection; // of rows and texts, behind `text`
    QColor good;      // states, as texts on window and base: at least 4.5:1
    QColor warning;
    QColor bad;
    QColor shadow;
    bool isDark = false;

    static const VXThemeColors &light();
    static const VXThemeColors &dark();

    QPalette palette() const;
    /** The colours by the names above, which the style sheet and drawings use. */
    QHash<QString, QColor> byName() const;
};
