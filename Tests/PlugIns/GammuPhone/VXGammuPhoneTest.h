#pragma once

#include "VXDeviceAction.h"
#include "VXGammuPhone.h"
#include "VXTesting.h"
#include "VXWords.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** Tests with a phone: the library's own dummy, whose folder the `gammu` program fills, or one at a port. */
class VXGammuPhoneTest : public VXHomeTest
{
protected:
    ~VXGammuPhoneTest() override;

    /** What the `gammu` program prints, run on the dummy phone, which is a folder in the home folder. */
    QByteArray gammu(const VXWords &arguments) const;
    /** Adds vCards to a memory of the dummy. */
    void addContacts(const QByteArray &cards, const QString &memory = QStringLiteral("ME")) const;
    /** Where the dummy keeps its things. */
    QString dummyPath(const QString &relative = {}) const;

    /** A live phone with these preferences, until the test's end. */
    VXDevicePlugin::Ptr makePhone(const QVariantMap &preferences);
    VXDevicePlugin::Ptr makeDummy();
    VXDevicePlugin::Ptr makeModem(const QString &port, const QVariantMap &preferences = {});

    /** Executes the action and waits for its end. */
    static VXDeviceAction::Ptr run(const VXDevicePlugin::Ptr &phone, const QString &name, const QVariant &object = {});
    /** The values of one key in the result's items. */
    static QVariantList items(const VXDeviceAction::Ptr &action, const QString &key);

private:
    std::vector<VXDevicePlugin::Ptr> _phones;
};
