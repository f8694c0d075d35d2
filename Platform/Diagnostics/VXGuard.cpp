#include "VXGuard.h"

#include "VXDiagnostics.h"
#include "VXException.h"

#include <QtCore/QFile>

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <memory>

using namespace Qt::StringLiterals;

QString VXTypeName(const std::type_info &type)
{
    const std::unique_ptr<char, void (*)(void *)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr),
                                                       std::free);
    return QString::fromUtf8(name ? name.get() : type.name());
}

VXThrown VXDescribeThrown() noexcept
{
    const auto describe = [](const QString &kind, const QString &reason) {
        return VXThrown{kind + ": "_L1 + reason, reason};
    };
    try {
        throw;
    } catch (const VXException &exception) {
        return describe(exception.name(), exception.reason());
    } catch (const std::exception &exception) {
        return describe(VXTypeName(typeid(exception)), QString::fromUtf8(exception.what()));
    } catch (...) {
        const std::type_info *const type = abi::__cxa_current_exception_type();
        const QString text = type == nullptr ? u"something unknown"_s : "a value of type "_L1 + VXTypeName(*type);
        return {text, text};
    }
}

QString VXDescribeCode(const QString &who, const std::type_info &type) noexcept
{
    Dl_info info = {};
    if (::dladdr(&type, &info) == 0 || info.dli_fname == nullptr)
        return who;
    return u"%1, of %2"_s.arg(who, QFile::decodeName(info.dli_fname));
}

void VXReportException(const QString &who) noexcept
{
    VXReportDiagnostic(3, u"%1, threw %2"_s.arg(who, VXDescribeThrown().description));
}
