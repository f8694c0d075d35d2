#pragma once

#include "VXReactorPlugin.h"
#include "VXUserInterface.h"

#include <optional>

/** Options entry: the path of the file to export to (QString). "VXExporterOptionsFilePath". */
VX_EXPORT extern const QString VXExporterOptionsFilePathKey;

/**
 * The base of plugins that write objects (contacts, calls, messages) to some target, in response to events or when the
 * user asks for it through the export sheet. As a reactor it exports the event's object. Main thread, except for events
 * posted on others.
 */
class VX_EXPORT VXExporterPlugin : public VXReactorPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXExporterPlugin();
    ~VXExporterPlugin() override;

    /** The name of the target. */
    QString reactorName() const override;
    /** "VXExporterTargetName": an application or a file format, in the user's language; null for none. */
    virtual QString exporterTargetName() const;

    /** A panel that asks for the file to export to, titled with the target's name. */
    virtual VXSavePanel exportPanel() const;

    /**
     * Writes the objects: maps, VXManagedObjectPtr, QObjects, or invalid values for events without an object. @return
     * none on success; otherwise what went wrong, and nothing that was there before is lost. The base fails an
     * assertion.
     */
    [[nodiscard]] virtual std::optional<VXError> exportObjects(const QVariantList &objects, const QVariantMap &options);

    /** Exports the object; a call only once, when it has ended. Shows the user an error of the export. */
    void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override;
};
