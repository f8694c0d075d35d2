#pragma once

#include "VXHostCommand.h"
#include "VXReactorOption.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

class VXHostOutput;
class VXPluginProxy;

/** What a reactor plugin says about itself, for people and as JSON; if it is not loaded, only its names. */
class VXReactorReport
{
public:
    explicit VXReactorReport(const VXPluginProxy &proxy);

    QJsonObject json() const { return _json; }
    /** For people, with the options. */
    QStringList lines(const VXHostOutput &output) const;
    /** A row for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

    /** As the reactor describes them; empty if it does not describe them, or is not loaded. */
    static VXReactorOptions optionsOf(const QString &identifier);

private:
    QJsonObject _json;
};

/** Replaces the keys that people see by the options' real keys. */
void VXLengthenKeys(const QString &reactor, QVariantMap *options);

/**
 * The only enabled plugin with that name, as in `VXPluginsCalled`; each is a `noun`, "reactor" or "exporter". Nullptr,
 * with the problem, if there are none or several, or if it is not enabled.
 */
[[nodiscard]] VXPluginProxy *VXReactorNamed(const QList<VXPluginProxy *> &plugins, const QString &typed,
                                            const QString &noun, QString *problem);

/**
 * Answers with everything that a reactor says about itself, including its options. The identifier's last part is
 * sufficient if no other reactor has it. @return the command's status.
 */
[[nodiscard]] int VXShowReactor(VXHostContext &context, const QList<VXPluginProxy *> &plugins,
                                const QString &identifier);

/** Answers with all of them, by identifier; with the text if there are none. @return the command's status. */
[[nodiscard]] int VXListReactors(VXHostContext &context, QList<VXPluginProxy *> plugins, const QString &none);
