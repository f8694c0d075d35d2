#include "VXOnlineMark.h"

#include "VXDevicePlugin.h"
#include "VXInterface.h"
#include "VXInvocation.h"
#include "VXPluginGuard.h"
#include "VXSymbol.h"
#include "VXThemeManager.h"
#include "VXValueTransformer.h"

using namespace Qt::StringLiterals;

QColor VXThemedColor(const VXColor &color)
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    if (color.rgb == 0x000000)
        return colors.text;
    if (color.rgb == 0x808080)
        return colors.quietText;
    return QColor::fromRgb(color.rgb);
}

QIcon VXOnlineMark(bool isOnline)
{
    return isOnline ? VXSymbol::named(u"online"_s, VXSymbol::Tone::Good)
                    : VXSymbol::named(u"offline"_s, VXSymbol::Tone::Quiet);
}

QString VXOnlineText(bool isOnline)
{
    return VXInterfaceString(isOnline ? u"connected"_s : u"not connected"_s);
}

bool VXIsDeviceOnline(const QUrl &url)
{
    const VXDevicePlugin::Ptr device = url.isEmpty() ? nullptr : VXDevicePlugin::deviceAtURL(url);
    if (!device)
        return false;
    bool isOnline = false;
    VXCallPlugin(*device, "isConnected", [&] {
        isOnline = VXInvocation::withMethod(device.get(), "isConnected").invoke().value_or(false).toBool();
    });
    return isOnline;
}

VXTransformerDelegate::VXTransformerDelegate(const QString &textTransformer, QObject *parent)
    : QStyledItemDelegate(parent), _textTransformer(textTransformer)
{
}

QString VXTransformerDelegate::displayText(const QVariant &value, const QLocale &locale) const
{
    const VXValueTransformer::Ptr transformer = VXValueTransformer::valueTransformerForName(_textTransformer);
    const QVariant shown = transformer ? transformer->transformedValue(value) : value;
    return QStyledItemDelegate::displayText(shown, locale);
}

void VXTransformerDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    if (_onlineRole < 0)
        return;
    const QVariant online = index.data(_onlineRole);
    if (const auto transformer = VXValueTransformer::valueTransformerForName(u"VXDeviceOnlineColor"_s)) {
        const QColor color = VXThemedColor(transformer->transformedValue(online).value<VXColor>());
        option->palette.setColor(QPalette::Text, color);
        option->palette.setColor(QPalette::HighlightedText, color);
    }
    option->features |= QStyleOptionViewItem::HasDecoration;
    option->decorationSize = {12, 12};
    option->icon = VXOnlineMark(!online.isValid() || online.toBool());
}
