#pragma once

#include "VXServicesExport.h"
#include "VXSleepInhibitor.h"

#include <QtCore/QTimer>

#include <chrono>

/**
 * Keeps the machine awake while activities run, as while a phone is written: from the moment on that they have taken a while,
 * to the end of the last one. Where the desktop does not allow it, nothing happens. Main thread only.
 */
class VX_SERVICES_EXPORT VXSleepGuard : public QObject
{
    Q_OBJECT

public:
    /** What takes less than `patience` is not worth the question. */
    explicit VXSleepGuard(std::chrono::milliseconds patience = std::chrono::seconds(3));
    ~VXSleepGuard() override;

private:
    void follow();
    void inhibit();

    QTimer _patience;
    std::unique_ptr<VXSleepInhibitor> _inhibitor;
};
