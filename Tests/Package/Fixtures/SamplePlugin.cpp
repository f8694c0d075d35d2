#include <Vornix/VXPlugin.h>
#include <Vornix/VXPrincipalClass.h>

// Not for others: the bundle shows its entry point alone.
extern "C" int VXSampleHidden();
extern "C" int VXSampleHidden()
{
    return 1;
}

class SamplePlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE SamplePlugin() = default;
};

VX_PRINCIPAL_CLASS(SamplePlugin)

#include "SamplePlugin.moc"
