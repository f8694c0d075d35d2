#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXPluginManager;
class VXPluginProxy;
struct VXPluginChoice;

/** What there is to tell of one plugin, for people and as JSON. Lives no longer than the plugin manager. */
class VXPluginReport
{
public:
    VXPluginReport(const VXPluginManager &manager, const VXPluginProxy &proxy);

    /** "NAME (IDENTIFIER)" */
    QString title() const;
    /** "loaded", "disabled", "left out", "failed", "not loaded" or "not installed". */
    QString state() const;
    /** What is wrong; null when nothing is. */
    QString reason() const;

    QJsonObject json() const;
    /** A line for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();
    /** Everything, as titles and values. */
    QList<QStringList> rows() const;

private:
    QString stateAndReason() const;
    QString version() const;

    const VXPluginManager &_manager;
    const VXPluginProxy &_proxy;
};

/** Every plugin that is known: each root by its identifier, followed by its children. */
[[nodiscard]] QList<const VXPluginProxy *> VXSortedPlugins(const VXPluginManager &manager);

/** The plugin with that identifier, or the only one whose identifier's last part or name it is, in letters of either case.
 *  Nullptr when there is none. */
[[nodiscard]] VXPluginProxy *VXPluginNamed(const VXPluginManager &manager, const QString &typed);
/** What to call plugins: the identifiers, and the last parts of them. */
[[nodiscard]] QStringList VXNamesOfPlugins(const QList<VXPluginProxy *> &plugins);

/** Why a copy of a plugin was chosen and others were passed over. */
[[nodiscard]] QJsonObject VXPluginChoiceJSON(const VXPluginChoice &choice);
[[nodiscard]] QList<QStringList> VXPluginChoiceRows(const VXPluginChoice &choice);
