#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtCore/QVariant>

#include <functional>

/**
 * Keeps what a user arranged under a user default: read at once, written when changes have come to rest, and at the latest
 * when the view goes. Belongs to the view. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSavedState : public QObject
{
    Q_OBJECT

public:
    /** Called when it is to be written; an invalid value removes the default. */
    using Source = std::function<QVariant()>;

    /** `key`: the user default. */
    VXSavedState(const QString &key, Source source, QObject *owner);
    ~VXSavedState() override;

    /** What was kept; invalid for nothing. */
    QVariant value() const;
    void changed();
    /** Writes what changed, if anything did; the view calls it before it goes. */
    void write();

private:
    const QString _key;
    const Source _source;
    QTimer _rest;
    bool _isChanged = false;
};
