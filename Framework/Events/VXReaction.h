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
    /** The options that the user set. */
    QVariantMap userOptions() const;
    int index() const;

    void setBundleIdentifier(const QString &identifier);
    void setUserOptions(const QVariantMap &options);
    void setIndex(int index);

    /** The options as the reactor gets them. Main thread. */
    QVariantMap options() const;
    /** Why the reactor would not run: it is not installed, disabled, or not loaded. Null when it would. Main thread. */
    QString problem() const;

private:
    VXManagedObjectPtr _record;
};

/**
 * The options that a reactor gets: what the user set, completed by its defaults. Exceptions of the reactor pass
 * through.
 */
[[nodiscard]] VX_EXPORT QVariantMap VXOptionsForReactor(const VXReactorPlugin &reactor, const QVariantMap &userOptions);

/**
 * Why a reactor would refuse the options: unknown keys, wrong types, or what the reactor itself says; null when it
 * would not. If the reactor throws, that is a reason, too. Main thread.
 */
[[nodiscard]] VX_EXPORT QString VXProblemOfReactorOptions(const VXReactorPlugin &reactor,
                                                          const QVariantMap &userOptions);
