#include "VXPluginOnStack.h"

#include <array>
#include <dlfcn.h>
#include <execinfo.h>
#include <span>

namespace {

constexpr std::string_view bundleExtension = ".vxplugin";

// The innermost bundle around a file of code; empty if there is none.
std::string_view bundleOfCode(std::string_view file)
{
    const size_t slash = file.rfind('/');
    if (slash == std::string_view::npos)
        return {};
    const std::string_view folder = file.substr(0, slash);
    return folder.ends_with(bundleExtension) ? folder : bundleOfCode(folder);
}

} // namespace

std::string_view VXPluginOnStack() noexcept
{
    std::array<void *, 256> frames{};
    const int count = ::backtrace(frames.data(), static_cast<int>(frames.size()));
    for (void *const frame : std::span(frames).first(static_cast<size_t>(count))) {
        Dl_info code = {};
        // After a call that does not return, the return address may belong to another function, but to the same file.
        if (::dladdr(frame, &code) == 0 || code.dli_fname == nullptr)
            continue;
        if (const std::string_view bundle = bundleOfCode(code.dli_fname); !bundle.empty())
            return bundle;
    }
    return {};
}

void VXPrepareStackWalk()
{
    void *frame = nullptr;
    ::backtrace(&frame, 1); // the first call loads a library
}
