#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/** A phone that a plugin has found, and of which a device could be made. A value; what is none is null. */
struct VX_EXPORT VXFoundDevice
{
    QString plugin = {};          // identifier; the search fills it in
    QString name = {};            // as people know the phone
    QString identifier = {};      // proposed for the device's URL
    QVariantMap preferences = {}; // to make the device with
    QString place = {};           // where it is, for people: "USB, /dev/ttyACM0"
    QStringList ports = {};       // the device files that the device would need, any of them
    QString holder = {};          // the program through which it is reached, where that keeps the port for itself
    VXError problem = {};         // why it could not be used as things are; the recovery suggestion says what to do
};

/**
 * What one plugin finds, while it is asked to (VXDevicePlugin::findDevices). The plugin may keep it as long as it looks, and
 * concludes it once; what it adds later does not count. Main thread only.
 */
class VX_EXPORT VXDeviceFinding : public QObject
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXDeviceFinding>;

    VXDeviceFinding();
    ~VXDeviceFinding() override;

    /** Its texts may come from the phone: they get one line each, without control characters, and no more than 200 characters. */
    void add(const VXFoundDevice &device);
    /** Nothing can be found, or not all: the description says why, the recovery suggestion what to do. The last counts. */
    void setProblem(const VXError &problem);
    void conclude();

    const QList<VXFoundDevice> &devices() const { return _devices; }
    VXError problem() const { return _problem; }
    bool isConcluded() const { return _isConcluded; }

Q_SIGNALS:
    void didConclude();

private:
    QList<VXFoundDevice> _devices;
    VXError _problem;
    bool _isConcluded = false;
};
