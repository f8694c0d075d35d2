#include "VXPluginGuard.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXMethodLog.h"

#include <cxxabi.h>
#include <exception>

using namespace Qt::StringLiterals;

namespace {

// The answers of a plugin, which may have overridden these operations, and may throw from them too.
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

VXThrown VXDescribeThrown()
{
    const auto describe = [](const QString &kind, const QString &reason) {
        return VXThrown{kind + ": "_L1 + reason, reason};
    };
    try {
        throw;
    } catch (const VXException &exception) {
        return describe(exception.name(), exception.reason());
    } catch (const std::exception &exception) {
        return describe(VXClassName(typeid(exception)), QString::fromUtf8(exception.what()));
    } catch (...) {
        const std::type_info *const type = abi::__cxa_current_exception_type();
        const QString text = type == nullptr ? u"unknown"_s : "a value of type "_L1 + VXClassName(*type);
        return {text, text};
    }
}

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
