#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * What the texts in the files of one sync go by besides the objects: user defaults, as the order of names, and the generation of
 * the program (VXMetaDataGeneration). What they were when all files were written is kept beside the folder. Any thread.
 */
class VX_EXPORT VXMetaDataSettings
{
public:
    VXMetaDataSettings(const QString &identifier, const QStringList &keys);

    /** The user defaults as they are now. */
    QVariantMap present() const;
    /** Whether all files were written by these. */
    bool areNoted(const QVariantMap &settings) const;
    /** Whether this generation of the program wrote them all. */
    bool isGenerationNoted() const;
    /** Both are so of all files. False when that cannot be kept, and then they are looked at anew the next time. */
    bool note(const QVariantMap &settings) const;
    void forget() const;

    /** Of any sync: false when the files of one were written by others than there are now, or by another generation. */
    static bool areAllPresent();

private:
    QVariantMap noted() const;

    const QString _path;
    const QStringList _keys;
};
