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
 * Widgets that are made while it stands take the style sheet at its end, each once: else a widget and all within it take it anew
 * whenever it gets a parent. None of them may be shown meanwhile. Main thread.
 */
class VX_INTERFACE_EXPORT VXStyleSheetPause
{
public:
    VXStyleSheetPause();
    ~VXStyleSheetPause();
    VXStyleSheetPause(const VXStyleSheetPause &) = delete;
    VXStyleSheetPause &operator=(const VXStyleSheetPause &) = delete;

private:
    const QString _styleSheet;
};

/**
 * Gives all windows their look: colours, a style and one style sheet, light or dark, as the user chose or as the desktop says,
 * whose changes are followed while the program runs. A desktop that says nothing is followed by the brightness of the
 * palette that the program started with. Main thread only.
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
