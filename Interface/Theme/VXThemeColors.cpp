#include "VXThemeColors.h"

using namespace Qt::StringLiterals;

const VXThemeColors &VXThemeColors::light()
{
    static const VXThemeColors colors{
        .window = QColor(0xf6f6f8),
        .sidebar = QColor(0xececf0),
        .base = QColor(0xffffff),
        .raised = QColor(0xffffff),
        .hover = QColor(0xebebef),
        .border = QColor(0xc9c9d1),
        .line = QColor(0xe3e3e8),
        .text = QColor(0x1d1d22),
        .quietText = QColor(0x62626c),
        .accent = QColor(0x2b63d9),
        .onAccent = QColor(0xffffff),
        .selection = QColor(0xd8e4fd),
        .good = QColor(0x177a3c),
        .warning = QColor(0x8f5a00),
        .bad = QColor(0xc3272f),
        .shadow = QColor(0, 0, 0, 60),
        .isDark = false,
    };
    return colors;
}

const VXThemeColors &VXThemeColors::dark()
{
    static const VXThemeColors colors{
        .window = QColor(0x202126),
        .sidebar = QColor(0x1a1b1f),
        .base = QColor(0x18191c),
        .raised = QColor(0x2e3037),
        .hover = QColor(0x383a42),
        .border = QColor(0x4b4d57),
        .line = QColor(0x34363d),
        .text = QColor(0xf0f0f3),
        .quietText = QColor(0xa5a6b0),
        .accent = QColor(0x7fa6ff),
        .onAccent = QColor(0x10131c),
        .selection = QColor(0x2c4273),
        .good = QColor(0x6cc98a),
        .warning = QColor(0xe9b457),
        .bad = QColor(0xff8a85),
        .shadow = QColor(0, 0, 0, 130),
        .isDark = true,
    };
    return colors;
}

QPalette VXThemeColors::palette() const
{
    QPalette palette;
    const auto set = [&palette](QPalette::ColorRole role, const QColor &color) { palette.setColor(role, color); };
    set(QPalette::Window, window);
    set(QPalette::WindowText, text);
    set(QPalette::Base, base);
    set(QPalette::AlternateBase, window);
    set(QPalette::Text, text);
    set(QPalette::PlaceholderText, quietText);
    set(QPalette::Button, raised);
    set(QPalette::ButtonText, text);
    set(QPalette::BrightText, onAccent);
    set(QPalette::ToolTipBase, raised);
    set(QPalette::ToolTipText, text);
    set(QPalette::Highlight, accent);
    set(QPalette::HighlightedText, onAccent);
    set(QPalette::Link, accent);
    set(QPalette::LinkVisited, accent);
    set(QPalette::Light, raised);
    set(QPalette::Midlight, hover);
    set(QPalette::Mid, border);
    set(QPalette::Dark, border);
    set(QPalette::Shadow, isDark ? QColor(Qt::black) : border);
    const QColor disabled = isDark ? QColor(0x72737d) : QColor(0x9a9aa4);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::HighlightedText})
        palette.setColor(QPalette::Disabled, role, disabled);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, border);
    return palette;
}

QHash<QString, QColor> VXThemeColors::byName() const
{
    return {
        {u"window"_s, window},
        {u"sidebar"_s, sidebar},
        {u"base"_s, base},
        {u"raised"_s, raised},
        {u"hover"_s, hover},
        {u"border"_s, border},
        {u"line"_s, line},
        {u"text"_s, text},
        {u"quietText"_s, quietText},
        {u"accent"_s, accent},
        {u"onAccent"_s, onAccent},
        {u"selection"_s, selection},
        {u"good"_s, good},
        {u"warning"_s, warning},
        {u"bad"_s, bad},
        {u"disabled"_s, palette().color(QPalette::Disabled, QPalette::Text)},
    };
}
