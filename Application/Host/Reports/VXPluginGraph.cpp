#include "VXPluginGraph.h"

#include "VXPluginManager.h"
#include "VXPluginReport.h"

#include <QtCore/QJsonArray>

using namespace Qt::StringLiterals;

namespace {

struct Edge
{
    QString from;
    QString to;
};

struct Graph
{
    QList<const VXPluginProxy *> plugins;
    QStringList missing; // needed by some, but unknown
    QList<Edge> dependencies;
    QList<Edge> children;
};

Graph graphOf(const VXPluginManager &manager)
{
    Graph graph{VXSortedPlugins(manager), {}, {}, {}};
    for (const VXPluginProxy *const plugin : std::as_const(graph.plugins)) {
        for (const QString &dependency : plugin->dependencies()) {
            graph.dependencies.append({plugin->identifier(), dependency});
            if (manager.pluginWithIdentifier(dependency) == nullptr)
                graph.missing.append(dependency);
        }
        for (const VXPluginProxy *const child : plugin->childProxies())
            graph.children.append({plugin->identifier(), child->identifier()});
    }
    graph.missing.sort();
    graph.missing.removeDuplicates();
    return graph;
}

QString quoted(QString text)
{
    text.replace(u'\\', "\\\\"_L1).replace(u'"', "\\\""_L1).replace(u'\n', "\\n"_L1);
    return u'"' + text + u'"';
}

QString edgeLine(const Edge &edge, const QString &attributes = {})
{
    return "    "_L1 + quoted(edge.from) + " -> "_L1 + quoted(edge.to) + attributes + ";\n"_L1;
}

QString nodeLine(const VXPluginProxy &plugin)
{
    const QString name = plugin.name();
    const QString label = name.isNull() ? plugin.identifier() : name + u'\n' + plugin.identifier();
    return u"    %1 [label=%2%3];\n"_s.arg(quoted(plugin.identifier()), quoted(label),
                                           plugin.isLoaded() ? QString() : u", color=gray, fontcolor=gray"_s);
}

QJsonArray edgesJSON(const QList<Edge> &edges)
{
    QJsonArray array;
    for (const Edge &edge : edges)
        array.append(QJsonObject{{u"from"_s, edge.from}, {u"to"_s, edge.to}});
    return array;
}

} // namespace

QString VXPluginGraph(const VXPluginManager &manager)
{
    const Graph graph = graphOf(manager);
    QString text = u"digraph plugins {\n    rankdir=LR;\n    node [shape=box];\n"_s;
    for (const VXPluginProxy *const plugin : graph.plugins)
        text += nodeLine(*plugin);
    for (const QString &identifier : graph.missing)
        text += "    "_L1 + quoted(identifier) + " [color=red, fontcolor=red, style=dashed];\n"_L1;
    for (const Edge &edge : graph.dependencies)
        text += edgeLine(edge);
    for (const Edge &edge : graph.children)
        text += edgeLine(edge, u" [style=dashed]"_s);
    return text + u"}\n"_s;
}

QJsonObject VXPluginGraphJSON(const VXPluginManager &manager)
{
    const Graph graph = graphOf(manager);
    QJsonArray plugins;
    for (const VXPluginProxy *const plugin : graph.plugins)
        plugins.append(plugin->identifier());
    return {{u"plugins"_s, plugins},
            {u"missing"_s, QJsonArray::fromStringList(graph.missing)},
            {u"dependencies"_s, edgesJSON(graph.dependencies)},
            {u"children"_s, edgesJSON(graph.children)}};
}
