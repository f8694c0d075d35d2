#include "VXBundle.h"

#include "VXPrincipalClass.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString &programPath()
{
    static const QString path = QFileInfo(u"/proc/self/exe"_s).canonicalFilePath();
    return path;
}

bool isRunningProgram(const QString &path)
{
    struct stat program = {};
    struct stat file = {};
    return ::stat("/proc/self/exe", &program) == 0 && ::stat(QFile::encodeName(path).constData(), &file) == 0 &&
           program.st_dev == file.st_dev && program.st_ino == file.st_ino;
}

VXError loadError(const QString &reason, const QString &path)
{
    return VXError::platformError(VXPlatformErrorCode::BundleLoad, u"The code of the bundle cannot be used."_s, reason,
                                  path);
}

// The loader's message about the last failure on this thread.
QString loaderReason()
{
    const char *const reason = ::dlerror();
    return reason == nullptr ? u"unknown reason"_s : QString::fromLocal8Bit(reason);
}

VXPrincipalClassFunction *entryPoint(void *handle, const QString &path, VXError *error)
{
    ::dlerror();
    void *const symbol = ::dlsym(handle, VXPrincipalClassSymbol);
    if (symbol == nullptr) {
        VXSetError(error, loadError(loaderReason(), path));
        return nullptr;
    }
    // dlsym also searches the libraries that the code is linked with; their principal class is not the bundle's.
    const QString holder = VXBundle::pathOfCode(symbol);
    if (QFileInfo(holder) != QFileInfo(path)) {
        VXSetError(error, loadError(u"It names no principal class; only \"%1\" does."_s.arg(holder), path));
        return nullptr;
    }
    return reinterpret_cast<VXPrincipalClassFunction *>(symbol);
}

} // namespace

QString VXBundle::pathOfCode(const void *address)
{
    Dl_info info = {};
    link_map *object = nullptr;
    if (::dladdr1(address, &info, reinterpret_cast<void **>(&object), RTLD_DL_LINKMAP) == 0 || object == nullptr)
        return {};
    // The program itself has no name here.
    return object->l_name[0] == '\0' ? programPath() : QFileInfo(QFile::decodeName(object->l_name)).absoluteFilePath();
}

void *VXBundle::codeHandle(VXError *error)
{
    {
        const VXMutexLocker lock(_lock);
        if (_codeHandle != nullptr)
            return _codeHandle;
    }
    const QString path = executablePath();
    if (path.isNull()) {
        VXSetError(error, loadError(u"The bundle names no code."_s, _path));
        return nullptr;
    }
    // The loader itself ensures that code is loaded only once, even by concurrent calls. What comes with the program was linked with
    // all that it calls, and calls little of that at the start; what others have built may lack something, and that is told here.
    const bool isProgram = isRunningProgram(path);
    if (const QFileInfo file(path); file.exists() && !file.isFile()) { // the loader would wait for a pipe for ever
        VXSetError(error, loadError(u"It is no plain file."_s, path));
        return nullptr;
    }
    const int binding = path.startsWith(mainBundle()->bundlePath() + u'/') ? RTLD_LAZY : RTLD_NOW;
    void *const handle =
        ::dlopen(isProgram ? nullptr : QFile::encodeName(path).constData(), binding | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) {
        VXSetError(error, loadError(loaderReason(), path));
        return nullptr;
    }
    const VXMutexLocker lock(_lock);
    return _codeHandle = handle;
}

bool VXBundle::load(VXError *error)
{
    return codeHandle(error) != nullptr;
}

bool VXBundle::isLoaded() const
{
    const VXMutexLocker lock(_lock);
    return _codeHandle != nullptr;
}

const QMetaObject *VXBundle::principalClass(VXError *error)
{
    void *const handle = codeHandle(error);
    const QString path = executablePath();
    auto *const entry = handle == nullptr ? nullptr : entryPoint(handle, path, error);
    if (entry == nullptr)
        return nullptr;
    const VXPrincipalClassInfo *const info = entry();
    if (info->interfaceVersion == VXInterfaceVersion)
        return info->metaObject;
    VXSetError(error,
               loadError(u"It was built for interface version %1, and this is version %2."_s.arg(info->interfaceVersion)
                             .arg(VXInterfaceVersion),
                         path));
    return nullptr;
}
