#include "VXPluginKind.h"

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

bool createsSingletonInstance(const QString &kind)
{
    return kind != Device && kind != Conduit;
}

} // namespace VXPluginKind
