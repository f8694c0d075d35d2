#pragma once

#include "VXHostCommand.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QStringList>

class VXPluginProxy;

/** What a reactor plugin tells about itself, for people and as JSON; of one that is not loaded only what it is called. */
class VXReactorReport
{
public:
    explicit VXReactorReport(const VXPluginProxy &proxy);

    QJsonObject json() const { return _json; }
    /** For people, with the options. */
    QStringList lines() const;
    /** A line for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

private:
    QJsonObject _json;
};

/** The one with that identifier, or the only one whose identifier has it as its last part; nullptr for none or several. */
[[nodiscard]] VXPluginProxy *VXReactorNamed(const QList<VXPluginProxy *> &plugins, const QString &identifier);

/** Answers with all that a reactor tells of itself, its options among it. The identifier's last part is enough when no other
 * reactor has it. @return the command's status. */
[[nodiscard]] int VXShowReactor(VXHostContext &context, const QList<VXPluginProxy *> &plugins,
                                const QString &identifier);

/** Answers with all of them, by identifier; with the text when there are none. @return the command's status. */
[[nodiscard]] int VXListReactors(VXHostContext &context, QList<VXPluginProxy *> plugins, const QString &none);
