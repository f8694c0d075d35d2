#include "VXEvalCalls.h"
#include "VXEvalRegistry.h"
#include "VXURLStrings.h"
#include "VXVersion.h"

using namespace Qt::StringLiterals;

namespace {

using Text = std::optional<QString>; // null stands for none

QString text(const Text &argument)
{
    return argument.value_or(QString());
}

QVariant phonebookURL(const Text &host, const Text &first, const Text &second)
{
    const QUrl url = VXMakePhonebookURL(text(host), text(first), text(second));
    return url.isValid() ? url.toString(QUrl::FullyEncoded) : QVariant();
}

} // namespace

void VXAddPluginCalls(VXEvalRegistry &registry)
{
    registry.add(u"compareVersion"_s, {u"a"_s, u"b"_s},
                 [](const QString &a, const QString &b) { return vx_compareVersion(a, b); });
    registry.add(u"VXMakeURLString"_s, {u"scheme"_s, u"target"_s, u"parameters"_s},
                 [](const Text &scheme, const Text &target, const std::optional<QVariantMap> &parameters) {
                     return VXMakeURLString(text(scheme), text(target), parameters.value_or(QVariantMap()));
                 });
    registry.add(u"VXComponentsFromURLString"_s, {u"url"_s}, [](const Text &url) {
        const auto components = VXComponentsFromURLString(text(url));
        return components ? QVariant(*components) : QVariant();
    });
    registry.add(u"VXCalltoURLString"_s, {u"number"_s, u"device"_s},
                 [](const Text &number, const Text &device) { return VXCalltoURLString(text(number), text(device)); });
    const auto add = [&registry](const QString &name, auto function) {
        registry.add(name, {u"target"_s, u"body"_s, u"device"_s},
                     [function](const Text &target, const Text &body, const Text &device) {
                         return function(text(target), text(body), text(device));
                     });
    };
    add(u"VXChatURLString"_s, VXChatURLString);
    add(u"VXMessagetoURLString"_s, VXMessagetoURLString);
    registry.add(u"VXMakePhonebookURL"_s, {u"host"_s, u"first"_s, u"second"_s}, phonebookURL);
}
