#include "VXFileExporter.h"
#include "VXJSON.h"
#include "VXObjectValues.h"
#include "VXPrincipalClass.h"

/** Writes each object as a line of JSON, for programs. */
class JSONLinesExporterPlugin : public VXFileExporter
{
    Q_OBJECT

public:
    Q_INVOKABLE JSONLinesExporterPlugin() = default;

protected:
    QByteArray formatMark() const override { return "{"; }

    bool writeObjects(const QVariantList &objects, const QVariantMap &, VXExportFile &file, QString *) override
    {
        // A truncated line, or a last line without an end, must not spoil another.
        if (file.oldSize() > 0 && file.oldBytes(file.oldSize() - 1, 1) != "\n")
            file.write("\n");
        for (const QVariant &object : VXRecordsOfObjects(objects)) {
            if (!file.write(VXJSONText(VXPlainJSONOfObject(object)) + '\n'))
                break; // reported on commit
        }
        return true;
    }
};

VX_PRINCIPAL_CLASS(JSONLinesExporterPlugin)

#include "JSONLinesExporterPlugin.moc"
