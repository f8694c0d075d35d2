#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXPluginManager;
class VXPluginProxy;
struct VXPluginChoice;

/** Information about one plugin, for people and as JSON. Must not outlive the plugin manager. */
class VXPluginReport
{
public:
    VXPluginReport(const VXPluginManager &manager, const VXPluginProxy &proxy);

    /** "NAME (IDENTIFIER)" */
    QString title() const;
    /** "loaded", "disabled", "left out", "failed", "not loaded" or "not installed". */
    QString state() const;
    /** What is wrong; null if nothing is. */
    QString reason() const;

    QJsonObject json() const;
    /** A row for a table with the titles of `columnTitles`. */
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

/** Every known plugin: each root, ordered by identifier, followed by its children. */
[[nodiscard]] QList<const VXPluginProxy *> VXSortedPlugins(const VXPluginManager &manager);

/** A plugin that the user enabled but of which no bundle is used. */
struct VXAbsentPlugin
{
    QString identifier;
    QString reason; // for people

    /** In the same form as VXPluginReport for existing plugins. */
    QJsonObject json() const;
    QStringList columns() const;
};
/** By identifier. */
[[nodiscard]] QList<VXAbsentPlugin> VXAbsentPlugins(const VXPluginManager &manager);

/**
 * The plugins with that identifier, regardless of case; else those whose identifier's last part it is; else those with
 * that name.
 */
[[nodiscard]] QList<VXPluginProxy *> VXPluginsCalled(const QList<VXPluginProxy *> &plugins, const QString &typed);
/** The only one of all with that name. Nullptr if there are none, or several. */
[[nodiscard]] VXPluginProxy *VXPluginNamed(const VXPluginManager &manager, const QString &typed);
/**
 * Why the name selects none of the plugins, each of which is a `noun`: either there is none, in which case the one that
 * may be meant is added, or there are several.
 */
[[nodiscard]] QString VXProblemOfPluginName(const QList<VXPluginProxy *> &plugins, const QString &typed,
                                            const QString &noun);
/** What plugins can be called: the identifiers, and their last parts. */
[[nodiscard]] QStringList VXNamesOfPlugins(const QList<VXPluginProxy *> &plugins);

/** Why one copy of a plugin was chosen and the others were not. */
[[nodiscard]] QJsonObject VXPluginChoiceJSON(const VXPluginChoice &choice);
[[nodiscard]] QList<QStringList> VXPluginChoiceRows(const VXPluginChoice &choice);
