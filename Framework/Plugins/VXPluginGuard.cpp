#include "VXPluginGuard.h"

#include "VXDiagnostics.h"
#include "VXMethodLog.h"

using namespace Qt::StringLiterals;

namespace {

// Guarded, as a plugin may override these functions, and throw from them.
QString bundlePath(const VXPlugin &plugin)
{
    try {
        const VXBundle::Ptr bundle = plugin.bundle();
        return bundle ? bundle->bundlePath() : QString();
    } catch (...) {
        return {};
    }
}

} // namespace

QString VXIdentifierOfPlugin(const VXPlugin &plugin) noexcept
{
    try {
        return plugin.identifier();
    } catch (...) {
        return {};
    }
}

QString VXReportPluginFault(const VXPlugin &plugin, const char *operation) noexcept
{
    const QString thrown = VXDescribeThrown().description;
    VXLogFrom(VXInstanceOrigin(&plugin, operation), VXLogError,
              u"Plugin %1 in %2 threw %3"_s.arg(VXDescription(VXIdentifierOfPlugin(plugin)),
                                                VXDescription(bundlePath(plugin)), thrown));
    return thrown;
}
