#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtCore/QVariant>

#include <functional>

/**
 * Stores the user's arrangement of a view under a user default: read at once, written when changes have paused, and at
 * the latest when the view is destroyed. Belongs to the view. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSavedState : public QObject
{
    Q_OBJECT

public:
    /** Returns the value to be written; an invalid value removes the default. */
    using Source = std::function<QVariant()>;

    /** `key`: the user default. */
    VXSavedState(const QString &key, Source source, QObject *owner);
    ~VXSavedState() override;

    /** The stored value; invalid for none. */
    QVariant value() const;
    void changed();
    /** Writes pending changes; the view calls it before it is destroyed. */
    void write();

private:
    const QString _key;
    const Source _source;
    QTimer _rest;
    bool _isChanged = false;
};
