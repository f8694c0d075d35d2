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

    /** @return by which the desktop's search has it opened. */
    static QString insert(const QString &store, const QString &entity, const QVariantMap &values);
    /** A contact; also with numbers. */
    static void add(const VXContactRecord &contact);
    static QStringList namesOfContacts();
};
