// The code of the plugins that PluginBenchmark loads.

#include "VXPhonebookPlugin.h"
#include "VXPrincipalClass.h"

class BenchmarkPlugin : public VXPhonebookPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE BenchmarkPlugin() = default;
};

VX_PRINCIPAL_CLASS(BenchmarkPlugin)

#include "BenchmarkPlugin.moc"
