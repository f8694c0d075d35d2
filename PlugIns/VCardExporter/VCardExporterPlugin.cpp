#include "VXCardWriter.h"
#include "VXFileExporter.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

/** Writes contacts as vCards, one after the other. */
class VCardExporterPlugin : public VXFileExporter
{
    Q_OBJECT

public:
    Q_INVOKABLE VCardExporterPlugin() = default;

protected:
    VXReactorOptions furtherOptions() const override
    {
        return describedOptions({{.key = u"version"_s,
                                  .meaning = localizedString(u"Which version of vCards to write."_s),
                                  .choices = {u"3.0"_s, u"4.0"_s}}});
    }

    QByteArray formatMark() const override { return "BEGIN:VCARD"; }

    bool writeObjects(const QVariantList &objects, const QVariantMap &options, VXExportFile &file,
                      QString *reason) override
    {
        const auto version =
            options.value(u"version"_s).toString() == "3.0"_L1 ? VXCardWriter::Version::V3 : VXCardWriter::Version::V4;
        if (file.oldSize() > 0 && file.oldBytes(file.oldSize() - 1, 1) != "\n")
            file.write("\r\n");
        for (const QVariant &object : objects) {
            const QByteArray card = VXCardWriter::card(object, version);
            if (card.isNull()) {
                *reason = localizedString(u"One of the objects is no contact: it has no name, number or address."_s);
                return false;
            }
            if (!file.write(card))
                break; // reported on commit
        }
        return true;
    }
};

VX_PRINCIPAL_CLASS(VCardExporterPlugin)

#include "VCardExporterPlugin.moc"
