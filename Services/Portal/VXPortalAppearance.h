#pragma once

#include "VXDesktopAppearance.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>

/** The portal's setting "color-scheme" of "org.freedesktop.appearance" (interface org.freedesktop.portal.Settings). */
class VXPortalAppearance : public VXDesktopAppearance
{
    Q_OBJECT

public:
    explicit VXPortalAppearance(const QDBusConnection &bus);

    ColorScheme colorScheme() const override { return _scheme; }

private Q_SLOTS:
    void settingChanged(const QDBusMessage &signal);

private:
    void readAgain();
    void takeOver(const QVariant &value);
    void takeOverAnswer(const QDBusMessage &answer);

    QDBusConnection _bus;
    ColorScheme _scheme = ColorScheme::NoPreference;
};
