#pragma once

#include "VXServicesExport.h"

#include <QtCore/QString>

#include <memory>

/**
 * Keeps the machine from going to sleep while it lives, as while a phone is being written; the kernel lets go when the process
 * ends, however it ends. Main thread only.
 */
class VX_SERVICES_EXPORT VXSleepInhibitor
{
public:
    /** `why`: for people, in what lists inhibitors. Null, with the reason for people, when logind does not allow it. */
    [[nodiscard]] static std::unique_ptr<VXSleepInhibitor> inhibitSleep(const QString &why, QString *reason = nullptr);

    virtual ~VXSleepInhibitor();
    VXSleepInhibitor(const VXSleepInhibitor &) = delete;
    VXSleepInhibitor &operator=(const VXSleepInhibitor &) = delete;

    /** False when it only delays: the machine then sleeps a few seconds later than asked to. */
    virtual bool isBlocking() const = 0;

protected:
    VXSleepInhibitor() = default;
};
