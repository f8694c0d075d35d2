#include <Vornix/VXComparison.h>
#include <Vornix/VXFramework.h>
#include <Vornix/VXLog.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    out << "Vornix " << VXFrameworkVersion() << ", bundle " << VXFrameworkBundle()->bundleIdentifier() << '\n';
    const QVariantMap changes = vx_compareWithArray({u"a"_s, u"b"_s}, {u"b"_s, u"c"_s});
    out << "added: " << changes.value(VXComparisonItemsAdded).toStringList().join(u' ') << '\n';
    return VXFrameworkBundle()->bundleIdentifier() == VXFrameworkIdentifier ? 0 : 1;
}
