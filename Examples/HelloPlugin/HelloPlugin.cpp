#include <Vornix/VXInterfacePlugin.h>
#include <Vornix/VXMethodLog.h>
#include <Vornix/VXPrincipalClass.h>
#include <Vornix/VXURLStrings.h>

using namespace Qt::StringLiterals;

/** Greets: opening "hello:NAME" answers a greeting in the user's language. */
class HelloPlugin : public VXInterfacePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE HelloPlugin() = default;

    void pluginDidLoad() override { VXLogMethod(VXLogNotice, "pluginDidLoad", u"Hello from "_s + name()); }
    void pluginWillUnload() override { VXLogMethod(VXLogNotice, "pluginWillUnload", u"Goodbye from "_s + name()); }

    QVariant openURLString(const QString &url) override
    {
        const QVariantMap parts = VXComponentsFromURLString(url).value_or(QVariantMap());
        if (parts.value(u"scheme"_s) != u"hello"_s || !parts.contains(u"host"_s))
            return {}; // another plugin's
        return bundle()->localizedStringForKey(u"Hello, %1!"_s).arg(parts.value(u"host"_s).toString());
    }
};

VX_PRINCIPAL_CLASS(HelloPlugin)

#include "HelloPlugin.moc"
