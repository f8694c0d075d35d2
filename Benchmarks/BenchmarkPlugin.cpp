// The code of the plugins that PluginBenchmark loads.

#include "VXPlugin.h"
#include "VXPrincipalClass.h"

class BenchmarkPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE BenchmarkPlugin() = default;
};

VX_PRINCIPAL_CLASS(BenchmarkPlugin)

#include "BenchmarkPlugin.moc"
