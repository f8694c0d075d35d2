#pragma once

#include "VXExporterPlugin.h"
#include "VXExportFile.h"

/**
 * An exporter that writes files. The option "VXExporterOptionsFilePath" names the file; "append" (true without) tells
 * whether objects go behind what it holds or in place of that. Two exports to one file at once come one after the other,
 * and one that fails changes nothing.
 */
class VXFileExporter : public VXExporterPlugin
{
    Q_OBJECT

public:
    [[nodiscard]] std::optional<VXError> exportObjects(const QVariantList &objects, const QVariantMap &options) final;

    /** The file and whether to append, and those of `furtherOptions`. */
    VXReactorOptions reactorOptions() const final;

protected:
    /** Those of the format. */
    virtual VXReactorOptions furtherOptions() const { return {}; }

    /** What files of the format begin with, capitals or not; empty, as in the base, when `writeObjects` looks itself. Nothing is put
     * behind what begins otherwise. */
    virtual QByteArray formatMark() const { return {}; }

    /** Writes the objects, none of them invalid. False with a reason for people: the file stays as it was. */
    virtual bool writeObjects(const QVariantList &objects, const QVariantMap &options, VXExportFile &file,
                              QString *reason) = 0;

    /** Of the plugin's table "Localizable", in the user's language. */
    QString localizedString(const QString &key) const;

private:
    bool goesTogether(VXExportFile &file, QString *reason) const;
};
