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

/** A plugin that the user enabled and of which no bundle is used. */
struct VXAbsentPlugin
{
    QString identifier;
    QString reason; // for people

    /** As VXPluginReport tells of plugins that are there. */
    QJsonObject json() const;
    QStringList columns() const;
};
/** By identifier. */
[[nodiscard]] QList<VXAbsentPlugin> VXAbsentPlugins(const VXPluginManager &manager);

/** Those of the plugins whose identifier it is, in letters of either case; else whose identifier's last part it is; else whose
 *  name. */
[[nodiscard]] QList<VXPluginProxy *> VXPluginsCalled(const QList<VXPluginProxy *> &plugins, const QString &typed);
/** The only one of all that is so called. Nullptr when there is none, or several. */
[[nodiscard]] VXPluginProxy *VXPluginNamed(const VXPluginManager &manager, const QString &typed);
/** Why it names none of the plugins, each of which is a `noun`: there is none, with the one that was perhaps meant, or several
 *  are so called. */
[[nodiscard]] QString VXProblemOfPluginName(const QList<VXPluginProxy *> &plugins, const QString &typed,
                                            const QString &noun);
/** What to call plugins: the identifiers, and the last parts of them. */
[[nodiscard]] QStringList VXNamesOfPlugins(const QList<VXPluginProxy *> &plugins);

/** Why a copy of a plugin was chosen and others were passed over. */
[[nodiscard]] QJsonObject VXPluginChoiceJSON(const VXPluginChoice &choice);
[[nodiscard]] QList<QStringList> VXPluginChoiceRows(const VXPluginChoice &choice);
