#pragma once

#include "VXBusDevice.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

/** A phone that a driver reaches over the test's own bus, and what it tells. */
class VXBusPhoneTest : public VXHomeTest
{
protected:
    /** `plugin` is the driver's identifier, `make` makes a device of it. */
    VXBusPhoneTest(const QString &plugin, std::function<std::shared_ptr<VXBusDevice>()> make);
    ~VXBusPhoneTest() override;

    const QUrl url;
    VXTestBus bus{path(QStringLiteral("bus"))};
    std::shared_ptr<VXBusDevice> phone;
    QStringList events; // "NAME SUBTYPE NUMBER TEXT"
    QVariantMap lastEvent;
    int patience = 1; // how many times it is waited for as long as tests do: services of the system take their time

    void makePhone();
    void setPreference(const QString &key, const QVariant &value) const;
    /** What a device that is none finds: "NAME IDENTIFIER PLACE PORTS PROBLEM" each, in the end "PROBLEM" for that of the finding. */
    QStringList found() const;

    VXDeviceAction::Ptr begin(const QString &name, const QVariant &object = {}) const;
    bool waitFor(const VXDeviceAction::Ptr &action) const;
    /** Runs the event loop until it is so; false when it does not come to that. */
    bool until(const std::function<bool()> &isSo) const;
    /** Begins, and waits for the end. */
    VXDeviceAction::Ptr perform(const QString &name, const QVariant &object = {}) const;
    testing::AssertionResult succeeds(const QString &name, const QVariant &object = {}) const;
    /** The `failure` of sending, null for none; "sent" when it worked. */
    QString fateOfSending(const QString &number, const QString &text) const;

    static QVariantMap resultOf(const VXDeviceAction::Ptr &action) { return action->result().toMap(); }
    static QVariantList items(const VXDeviceAction::Ptr &action);
    /** One key of the items that an action read, sorted. */
    static QStringList texts(const VXDeviceAction::Ptr &action, const QString &key);

    QString shown(const QString &key) const;
    /** Problem and remedy. */
    QString problem() const;
    bool hears(const QStringList &expected) const;
    bool hasProblem(const QString &beginning) const;
    bool isReached() const;

private:
    const std::function<std::shared_ptr<VXBusDevice>()> _make;
    QObject _observer;
};
