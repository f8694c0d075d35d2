#pragma once

#include "VXHostCommand.h"
#include "VXReactorOption.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

class VXHostOutput;
class VXPluginProxy;

/** What a reactor plugin tells about itself, for people and as JSON; of one that is not loaded only what it is called. */
class VXReactorReport
{
public:
    explicit VXReactorReport(const VXPluginProxy &proxy);

    QJsonObject json() const { return _json; }
    /** For people, with the options. */
    QStringList lines(const VXHostOutput &output) const;
    /** A line for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

    /** As the reactor describes them; empty where it does not, or is not loaded. */
    static VXReactorOptions optionsOf(const QString &identifier);

private:
    QJsonObject _json;
};

/** The options under their own keys, which are given under those that people see. */
void VXLengthenKeys(const QString &reactor, QVariantMap *options);

/** The only one of the enabled plugins that is so called, as `VXPluginsCalled` has it; each is a `noun`, "reactor" or
 *  "exporter". Nullptr, with the problem, for none, for several, and for one that is not enabled. */
[[nodiscard]] VXPluginProxy *VXReactorNamed(const QList<VXPluginProxy *> &plugins, const QString &typed,
                                            const QString &noun, QString *problem);

/** Answers with all that a reactor tells of itself, its options among it. The identifier's last part is enough when no other
 * reactor has it. @return the command's status. */
[[nodiscard]] int VXShowReactor(VXHostContext &context, const QList<VXPluginProxy *> &plugins,
                                const QString &identifier);

/** Answers with all of them, by identifier; with the text when there are none. @return the command's status. */
[[nodiscard]] int VXListReactors(VXHostContext &context, QList<VXPluginProxy *> plugins, const QString &none);
