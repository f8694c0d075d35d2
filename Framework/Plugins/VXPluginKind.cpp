#include "VXPluginKind.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace VXPluginKind {

const QString Data = u"VXDataPlugin"_s;
const QString Exporter = u"VXExporterPlugin"_s;
const QString Reactor = u"VXReactorPlugin"_s;
const QString Interface = u"VXInterfacePlugin"_s;
const QString Phonebook = u"VXPhonebookPlugin"_s;
const QString Device = u"VXDevicePlugin"_s;
const QString Conduit = u"VXConduitPlugin"_s;

QStringList all()
{
    return {Data, Exporter, Reactor, Interface, Phonebook, Device, Conduit};
}

QString shortName(const QString &kind)
{
    return all().contains(kind) ? kind.sliced("VX"_L1.size()).chopped("Plugin"_L1.size()).toLower() : kind;
}

QString kindForShortName(const QString &name)
{
    const QStringList kinds = all();
    const auto found =
        std::find_if(kinds.cbegin(), kinds.cend(), [&name](const QString &kind) { return shortName(kind) == name; });
    return found == kinds.cend() ? QString() : *found;
}

QString baseClass(const QString &kind)
{
    if (kind == Conduit) // it has no base class of its own
        return u"VXPlugin"_s;
    return all().contains(kind) ? kind : QString();
}

bool createsSingletonInstance(const QString &kind)
{
    return kind != Device && kind != Conduit;
}

} // namespace VXPluginKind
