#include "VXMethodLog.h"

#include "VXGuard.h"

using namespace Qt::StringLiterals;

namespace {

// "0x%08x" of the low 32 bits, the established form of log lines.
QString addressText(const void *address)
{
    return QString::asprintf("0x%08x", static_cast<unsigned>(reinterpret_cast<quintptr>(address)));
}

template <const char16_t *const Tag>
const VXDebugCategory &sharedCategory()
{
    static const auto *const category = new VXDebugCategory(QString::fromUtf16(Tag));
    return *category;
}

constexpr char16_t phonebookTag[] = u"PHBK";
constexpr char16_t pluginTag[] = u"PLUG";
constexpr char16_t metadataTag[] = u"META";
constexpr char16_t eventTag[] = u"EVNT";

} // namespace

VXDebugCategory::VXDebugCategory(const QString &tag)
    : _tag(tag), _switch(VXUserDefaults::standardUserDefaults(), "debug."_L1 + tag)
{
}

const VXDebugCategory &VXDebugCategory::PHBK()
{
    return sharedCategory<phonebookTag>();
}

const VXDebugCategory &VXDebugCategory::PLUG()
{
    return sharedCategory<pluginTag>();
}

const VXDebugCategory &VXDebugCategory::META()
{
    return sharedCategory<metadataTag>();
}

const VXDebugCategory &VXDebugCategory::EVNT()
{
    return sharedCategory<eventTag>();
}

QString VXMethodDescriptor(const VXLogOrigin &origin)
{
    return u"%1[%2 %3]"_s.arg(QChar::fromLatin1(origin.kind))
        .arg(origin.className, QString::fromLatin1(origin.operation));
}

void VXLogFrom(const VXLogOrigin &origin, unsigned level, const QString &text)
{
    VXLog::log(level, addressText(origin.address) + u' ' + VXMethodDescriptor(origin) + u' ' + text);
}

void VXTraceFrom(const VXLogOrigin &origin, const VXDebugCategory &category, const QString &text)
{
    VXLog::log(VXLogDebug, u'[' + category.tag() + "] "_L1 + addressText(origin.address) + u' ' +
                               VXMethodDescriptor(origin) + u' ' + text);
}

QString VXClassName(const std::type_info &type)
{
    const QString name = VXTypeName(type);
    return name.mid(name.lastIndexOf("::"_L1) < 0 ? 0 : name.lastIndexOf("::"_L1) + 2);
}
