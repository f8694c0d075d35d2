#pragma once

#include "VXContactRecord.h"
#include "VXTesting.h"

#include <QtCore/QVariantMap>

/** A test of windows over the plugins that ship, in a fresh home. */
class VXDesktopTest : public VXHomeTest
{
protected:
    VXDesktopTest();
    ~VXDesktopTest() override;

    /** @return by which the desktop's search has it opened; of several the last one. */
    static QString insertAll(const QString &store, const QString &entity, const QList<QVariantMap> &objects);
    static QString insert(const QString &store, const QString &entity, const QVariantMap &values)
    {
        return insertAll(store, entity, QList<QVariantMap>{values});
    }
    /** A contact; also with numbers. */
    static void add(const VXContactRecord &contact);
    static QStringList namesOfContacts();
};
