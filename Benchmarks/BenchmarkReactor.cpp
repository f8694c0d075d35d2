// The reactor that EventBenchmark's triggers run: it does nothing, so that what is measured is what is around it.

#include "VXPrincipalClass.h"
#include "VXReactorPlugin.h"

class BenchmarkReactor : public VXReactorPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE BenchmarkReactor() = default;

    void reactToEventWithName(const QString &, const QString &, const QVariant &, const QVariantMap &) override {}
};

VX_PRINCIPAL_CLASS(BenchmarkReactor)

#include "BenchmarkReactor.moc"
