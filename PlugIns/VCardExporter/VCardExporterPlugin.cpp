#include "VXCardWriter.h"
#include "VXFileExporter.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

/** Writes contacts as vCards, one behind the other. */
class VCardExporterPlugin : public VXFileExporter
{
    Q_OBJECT

public:
    Q_INVOKABLE VCardExporterPlugin() = default;

protected:
    bool writeObjects(const QVariantList &objects, const QVariantMap &, VXExportFile &file, QString *reason) override
    {
        if (file.oldSize() > 0 && file.oldBytes(file.oldSize() - 1, 1) != "\n")
            file.write("\r\n");
        for (const QVariant &object : objects) {
            const QByteArray card = VXCardWriter::card(object);
            if (card.isNull()) {
                *reason = localizedString(u"One of the objects is no contact: it has no name, number or address."_s);
                return false;
            }
            if (!file.write(card))
                break; // told when it is committed
        }
        return true;
    }
};

VX_PRINCIPAL_CLASS(VCardExporterPlugin)

#include "VCardExporterPlugin.moc"
