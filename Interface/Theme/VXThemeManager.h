#pragma once

#include "VXInterfaceExport.h"
#include "VXThemeColors.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

class VXDesktopAppearance;

/** What the user chose; stored by name, "system", "light" or "dark", under the user default "interface.theme". */
enum class VXThemeChoice { System, Light, Dark };

/**
 * Gives all windows their appearance: colours, a style and a style sheet, light or dark, as chosen by the user or the
 * desktop, whose changes are followed while the program runs. If the desktop has no setting, the brightness of the
 * palette at the start decides. Main thread only.
 */
class VX_INTERFACE_EXPORT VXThemeManager : public QObject
{
    Q_OBJECT

public:
    /** Made on first use, which requires the QApplication; applies the theme then. */
    static VXThemeManager &sharedThemeManager();
    ~VXThemeManager() override;

    VXThemeChoice choice() const;
    /** Stores the choice and applies it at once. */
    void setChoice(VXThemeChoice choice);

    bool isDark() const { return colors().isDark; }
    /** The colours of the present theme. */
    const VXThemeColors &colors() const { return *_colors; }

    /** The style sheet with its colours and drawings filled in. */
    static QString styleSheet(const VXThemeColors &colors);

Q_SIGNALS:
    /** Emitted when all windows have the new appearance; for widgets that paint themselves. */
    void themeDidChange();

private:
    VXThemeManager();

    void apply();
    bool wantsDark() const;

    const bool _startedDark;
    const std::unique_ptr<VXDesktopAppearance> _appearance;
    const VXThemeColors *_colors = nullptr;
};
