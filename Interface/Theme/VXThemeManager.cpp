#include "VXThemeManager.h"

#include "VXDesktopAppearance.h"
#include "VXInterface.h"
#include "VXLog.h"
#include "VXMainThread.h"
#include "VXNotificationCenter.h"
#include "VXThemeStyle.h"
#include "VXUserDefaults.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtWidgets/QApplication>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString choiceKey = u"interface.theme"_s;
constexpr int darkBelow = 128; // lightness of the window colour

constexpr std::array<std::pair<VXThemeChoice, QLatin1StringView>, 3> choiceNames{{
    {VXThemeChoice::System, "system"_L1},
    {VXThemeChoice::Light, "light"_L1},
    {VXThemeChoice::Dark, "dark"_L1},
}};

QString textOfFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

VXStyleSheetPause::VXStyleSheetPause() : _styleSheet(qApp->styleSheet())
{
    qApp->setStyleSheet({});
}

VXStyleSheetPause::~VXStyleSheetPause()
{
    qApp->setStyleSheet(_styleSheet);
}

VXThemeManager &VXThemeManager::sharedThemeManager()
{
    static QPointer<VXThemeManager> manager;
    if (!manager) {
        manager = new VXThemeManager;
        manager->setParent(QCoreApplication::instance());
    }
    return *manager;
}

VXThemeManager::VXThemeManager()
    : _startedDark(QApplication::palette().color(QPalette::Window).lightness() < darkBelow),
      _appearance(VXDesktopAppearance::sessionAppearance())
{
    QApplication::setStyle(new VXThemeStyle); // owned by the application
    connect(_appearance.get(), &VXDesktopAppearance::colorSchemeDidChange, this, &VXThemeManager::apply);
    const auto follow = [manager = QPointer(this)](const VXNotification &) {
        VXMainThread::perform([manager] {
            if (manager)
                manager->apply();
        });
    };
    VXNotificationCenter::defaultCenter().addObserver(this, VXUserDefaultsDidChangeNotification, follow, choiceKey);
    apply();
}

VXThemeManager::~VXThemeManager() = default;

VXThemeChoice VXThemeManager::choice() const
{
    const QString stored = VXUserDefaults::standardUserDefaults().stringForKey(choiceKey);
    for (const auto &[choice, name] : choiceNames) {
        if (stored == name)
            return choice;
    }
    return VXThemeChoice::System;
}

void VXThemeManager::setChoice(VXThemeChoice choice)
{
    for (const auto &[each, name] : choiceNames) {
        if (each == choice)
            VXUserDefaults::standardUserDefaults().setObject(QString(name), choiceKey);
    }
    apply();
}

bool VXThemeManager::wantsDark() const
{
    switch (choice()) {
    case VXThemeChoice::Light:
        return false;
    case VXThemeChoice::Dark:
        return true;
    case VXThemeChoice::System:
        break;
    }
    switch (_appearance->colorScheme()) {
    case VXDesktopAppearance::ColorScheme::Dark:
        return true;
    case VXDesktopAppearance::ColorScheme::Light:
        return false;
    case VXDesktopAppearance::ColorScheme::NoPreference:
        break;
    }
    return _startedDark;
}

void VXThemeManager::apply()
{
    const VXThemeColors *const wanted = wantsDark() ? &VXThemeColors::dark() : &VXThemeColors::light();
    if (std::exchange(_colors, wanted) == wanted)
        return;
    QApplication::setPalette(wanted->palette());
    qApp->setStyleSheet(styleSheet(*wanted));
    Q_EMIT themeDidChange();
}

// "@name" is replaced by a colour of the theme, "@icons" by the folder of drawings for its brightness.
QString VXThemeManager::styleSheet(const VXThemeColors &colors)
{
    const VXBundle::Ptr bundle = VXInterfaceBundle();
    const QString path = bundle->pathForResource(u"Theme"_s, u"qss"_s);
    QString text = textOfFile(path);
    if (text.isEmpty()) {
        VXLog::log(VXLogError, u"The theme's style sheet is missing: "_s + bundle->resourcesPath());
        return {};
    }
    text.replace("@icons"_L1, QFileInfo(path).path() + "/Theme/"_L1 + (colors.isDark ? "dark"_L1 : "light"_L1));
    QStringList names;
    const QHash<QString, QColor> byName = colors.byName();
    for (auto color = byName.cbegin(); color != byName.cend(); ++color)
        names.append(color.key());
    // The longest first, as "@text" is a prefix of other names.
    std::ranges::sort(names, [](const QString &a, const QString &b) { return a.size() > b.size(); });
    for (const QString &name : std::as_const(names))
        text.replace(u'@' + name, byName.value(name).name());
    return text;
}
