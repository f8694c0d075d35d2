#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * The user defaults that the texts in the files of one sync go by, as the order of names: what they were when all files were
 * written is kept beside the folder. Any thread.
 */
class VX_EXPORT VXMetaDataSettings
{
public:
    VXMetaDataSettings(const QString &identifier, const QStringList &keys);

    /** As they are now. */
    QVariantMap present() const;
    /** Whether all files were written by these. */
    bool areNoted(const QVariantMap &settings) const;
    /** All files were. False when that cannot be kept, and then they are written anew the next time. */
    bool note(const QVariantMap &settings) const;
    void forget() const;

    /** Of any sync: false when the files of one were written by others than there are now. */
    static bool areAllPresent();

private:
    const QString _path;
    const QStringList _keys;
};
