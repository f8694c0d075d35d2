#pragma once

#include "VXExporterPlugin.h"
#include "VXExportFile.h"

/**
 * An exporter that writes files. The option "VXExporterOptionsFilePath" names the file; "append" (true by default) says
 * whether objects are added to its content or replace it. Two exports to the same file run one after the other, and one
 * that fails changes nothing.
 */
class VXFileExporter : public VXExporterPlugin
{
    Q_OBJECT

public:
    [[nodiscard]] std::optional<VXError> exportObjects(const QVariantList &objects, const QVariantMap &options) final;

    /** The file, whether to append, and `furtherOptions`. */
    VXReactorOptions reactorOptions() const final;
    /** The folder of the file must exist. */
    QString problemOfOptions(const QVariantMap &options) const final;

protected:
    /** Options of the format. */
    virtual VXReactorOptions furtherOptions() const { return {}; }

    /** What files of the format begin with, in upper or lower case; empty, as in the base, if `writeObjects` checks
     *  itself. Nothing is appended to a file that begins differently. */
    virtual QByteArray formatMark() const { return {}; }

    /** Writes the objects, all of them valid. False with a reason for people: the file stays as it was. */
    virtual bool writeObjects(const QVariantList &objects, const QVariantMap &options, VXExportFile &file,
                              QString *reason) = 0;

    /** A text of the plugin's table "Localizable", in the user's language. */
    QString localizedString(const QString &key) const;

private:
    bool goesTogether(VXExportFile &file, QString *reason) const;
};
