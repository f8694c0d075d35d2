#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

class VXReactorPlugin;

/** One use of a reactor plugin in a trigger: a record "VXReactor..." of the store of triggers. On its context's thread. */
class VX_EXPORT VXReaction
{
public:
    explicit VXReaction(const VXManagedObjectPtr &record) : _record(record) {}

    const VXManagedObjectPtr &record() const { return _record; }
    QString bundleIdentifier() const;
    /** Those that the user set. */
    QVariantMap userOptions() const;
    int index() const;

    void setBundleIdentifier(const QString &identifier);
    void setUserOptions(const QVariantMap &options);
    void setIndex(int index);

    /** As the reactor gets them. Main thread. */
    QVariantMap options() const;
    /** Why it would not run: it is not installed, disabled, or not loaded. Null when it would. Main thread. */
    QString problem() const;

private:
    VXManagedObjectPtr _record;
};

/** The options that a reactor gets: its defaults, under what the user set. What the reactor throws passes through. */
[[nodiscard]] VX_EXPORT QVariantMap VXOptionsForReactor(const VXReactorPlugin &reactor, const QVariantMap &userOptions);

/** Why a reactor would refuse the options: unknown keys, wrong types, what the reactor itself says. Null for no reason; what the
 * reactor throws is one. Main thread. */
[[nodiscard]] VX_EXPORT QString VXProblemOfReactorOptions(const VXReactorPlugin &reactor,
                                                          const QVariantMap &userOptions);
