#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * What, besides the objects, determines the texts in the files of one sync: user defaults, such as the order of names,
 * and the generation of the program (VXMetaDataGeneration). The values at the time when all files were written are kept
 * beside the folder. Any thread.
 */
class VX_EXPORT VXMetaDataSettings
{
public:
    VXMetaDataSettings(const QString &identifier, const QStringList &keys);

    /** The user defaults as they are now. */
    QVariantMap present() const;
    /** Whether all files were written with these values. */
    bool areNoted(const QVariantMap &settings) const;
    /** Whether this generation of the program wrote all files. */
    bool isGenerationNoted() const;
    /** Notes that all files were written with these values, by this generation. False when that cannot be kept; then
     *  all files are looked at again the next time. */
    bool note(const QVariantMap &settings) const;
    void forget() const;

    /** Over all syncs: false when the files of one were written with other values than the present ones, or by another
     *  generation. */
    static bool areAllPresent();

private:
    QVariantMap noted() const;

    const QString _path;
    const QStringList _keys;
};
