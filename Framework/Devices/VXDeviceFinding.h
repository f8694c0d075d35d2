#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/** A phone that a plugin has found, and that could become a device. A value type; what there is none of is null. */
struct VX_EXPORT VXFoundDevice
{
    QString plugin = {};          // the identifier; filled in by the search
    QString name = {};            // the name that people know the phone by
    QString identifier = {};      // proposed for the device's URL
    QVariantMap preferences = {}; // for making the device
    QString place = {};           // where the phone is, in the user's language: "USB, /dev/ttyACM0"
    QStringList ports = {};       // device files, each of which the device would need
    QString holder = {};  // the program that the phone is reached through, if that program keeps the port to itself
    VXError problem = {}; // why the phone cannot be used at present; the recovery suggestion says what to do
};

/**
 * Collects what one plugin finds (VXDevicePlugin::findDevices). The plugin may keep it as long as it searches, and
 * concludes it once; later additions are ignored. Main thread only.
 */
class VX_EXPORT VXDeviceFinding : public QObject
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXDeviceFinding>;

    VXDeviceFinding();
    ~VXDeviceFinding() override;

    /** Adds a phone. As its texts may come from the phone, each is reduced to one line of at most 200 characters
     *  without control characters. */
    void add(const VXFoundDevice &device);
    /** Sets why not all phones, or none, can be found; the recovery suggestion says what to do. The last call counts.
     *  */
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
