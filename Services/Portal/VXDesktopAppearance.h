#pragma once

#include "VXServicesExport.h"

#include <QtCore/QObject>

#include <memory>

/** What the desktop of the session says about how programs should look. Main thread only. */
class VX_SERVICES_EXPORT VXDesktopAppearance : public QObject
{
    Q_OBJECT

public:
    enum class ColorScheme { NoPreference = 0, Dark = 1, Light = 2 }; // as the portal counts

    /**
     * As the desktop portal of the session bus tells. It is asked at once, for no longer than the start of a program may
     * wait; an answer that comes later is told by the signal. No preference without a bus or a portal. Never null.
     */
    static std::unique_ptr<VXDesktopAppearance> sessionAppearance();

    ~VXDesktopAppearance() override;
    virtual ColorScheme colorScheme() const = 0;

Q_SIGNALS:
    void colorSchemeDidChange();
};
