#include "VXErrorDomain.h"
#include "VXExporterPlugin.h"
#include "VXPrincipalClass.h"

#include <QtCore/QCoreApplication>

using namespace Qt::StringLiterals;

/** An exporter that puts what it gets into the property "VXExportedObjects" of the application, and fails with the error that
 * "FixtureExportError" of its Info.plist names. */
class WritingExporter : public VXExporterPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE WritingExporter() = default;

    std::optional<VXError> exportObjects(const QVariantList &objects, const QVariantMap &) override
    {
        QCoreApplication::instance()->setProperty("VXExportedObjects", objects);
        const QString text = bundle()->infoDictionary().value(u"FixtureExportError"_s).toString();
        return text.isNull() ? std::nullopt : std::optional(VXMakeError(text));
    }
};

VX_PRINCIPAL_CLASS(WritingExporter)

#include "WritingExporter.moc"
