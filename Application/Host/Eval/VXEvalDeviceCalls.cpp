#include "VXDeviceURL.h"
#include "VXEvalCalls.h"
#include "VXEvalRegistry.h"

using namespace Qt::StringLiterals;

namespace {

using Text = std::optional<QString>; // null stands for none

QString text(const Text &argument)
{
    return argument.value_or(QString());
}

QVariant answer(const QUrl &url)
{
    return url.isValid() ? QVariant(VXAbsoluteString(url)) : QVariant();
}

} // namespace

void VXAddDeviceCalls(VXEvalRegistry &registry)
{
    registry.add(u"VXMakeDeviceURL"_s, {u"host"_s, u"plugin"_s, u"device"_s},
                 [](const Text &host, const Text &plugin, const Text &device) {
                     return answer(VXMakeDeviceURL(text(host), text(plugin), text(device)));
                 });
    registry.add(u"VXGetDeviceURLFromURL"_s, {u"url"_s},
                 [](const Text &url) { return answer(VXGetDeviceURLFromURL(QUrl(text(url)))); });
    registry.add(u"VXMakeDevicePreferenceKey"_s, {u"url"_s, u"key"_s},
                 [](const QString &url, const Text &key) { return VXMakeDevicePreferenceKey(QUrl(url), text(key)); });
}
