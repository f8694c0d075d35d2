#include "VXPreferencePages.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXDesktopSettings.h"
#include "VXDesktopText.h"
#include "VXDevicePlugin.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXPluginManager.h"
#include "VXTextLabel.h"
#include "VXThemeManager.h"
#include "VXUserDefaults.h"

#include <QtCore/QDirIterator>
#include <QtCore/QLocale>
#include <QtCore/QUrl>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSystemTrayIcon>

using namespace Qt::StringLiterals;

namespace {

VXUserDefaults &defaults()
{
    return VXUserDefaults::standardUserDefaults();
}

/** A page with a headline; what is added to the layout appears below it. */
QVBoxLayout *makePage(const QString &title)
{
    auto *const page = new QWidget;
    auto *const column = new QVBoxLayout(page);
    column->setContentsMargins(28, 24, 28, 24);
    column->setSpacing(14);
    column->addWidget(new VXTextLabel(title, VXTextLabel::Role::Headline));
    return column;
}

void addNote(QVBoxLayout *column, const QString &text)
{
    column->addWidget(new VXTextLabel(text, VXTextLabel::Role::Secondary));
}

QCheckBox *makeSwitch(const QString &title, const QString &key)
{
    auto *const box = new QCheckBox(title);
    box->setChecked(defaults().boolForKey(key));
    QObject::connect(box, &QCheckBox::toggled, box, [key](bool isOn) { defaults().setObject(isOn, key); });
    return box;
}

/** A choice of a phone, stored under a key; without a choice, the phone added last. */
QComboBox *makePhoneChoice(const QString &key)
{
    auto *const choice = new QComboBox;
    choice->addItem(VXText("The one added last"), QString());
    const QString chosen = defaults().stringForKey(key);
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>())) {
        choice->addItem(VXDeviceNameAtURL().transformedValue(url).toString(), VXAbsoluteString(url));
        if (VXAbsoluteString(url) == chosen)
            choice->setCurrentIndex(choice->count() - 1);
    }
    QObject::connect(choice, &QComboBox::activated, choice, [choice, key] {
        const QString url = choice->currentData().toString();
        defaults().setObject(url.isEmpty() ? QVariant() : QVariant(url), key);
    });
    return choice;
}

} // namespace

QString VXTextOfSize(const QString &folder)
{
    qint64 size = 0;
    for (QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); files.hasNext();) {
        files.next();
        size += files.fileInfo().size();
    }
    return QLocale().formattedDataSize(size, size < 1024 ? 0 : 1);
}

QWidget *VXMakeGeneralPage()
{
    QVBoxLayout *const column = makePage(VXText("General"));
    auto *const form = new QFormLayout;
    form->setVerticalSpacing(12);
    auto *const look = new QComboBox;
    look->addItem(VXText("As the desktop"), int(VXThemeChoice::System));
    look->addItem(VXText("Light"), int(VXThemeChoice::Light));
    look->addItem(VXText("Dark"), int(VXThemeChoice::Dark));
    look->setCurrentIndex(look->findData(int(VXThemeManager::sharedThemeManager().choice())));
    QObject::connect(look, &QComboBox::activated, look, [look] {
        VXThemeManager::sharedThemeManager().setChoice(VXThemeChoice(look->currentData().toInt()));
    });
    auto *const names = new QComboBox;
    names->addItem(VXText("First name, last name"), 0);
    names->addItem(VXText("Last name, first name"), 1);
    names->setCurrentIndex(defaults().integerForKey(u"phonebook.names.last_first"_s) != 0 ? 1 : 0);
    QObject::connect(names, &QComboBox::activated, names,
                     [names] { defaults().setObject(names->currentData().toInt(), u"phonebook.names.last_first"_s); });
    form->addRow(VXText("Appearance"), look);
    form->addRow(VXText("Names are shown as"), names);
    column->addLayout(form);
    column->addWidget(makeSwitch(VXText("Tell of calls and messages that come in"), VXDesktopSettings::tellsNewsKey));
    QCheckBox *const keepsRunning =
        makeSwitch(VXText("Keep running in the tray when the window is closed"), VXDesktopSettings::keepsRunningKey);
    column->addWidget(keepsRunning);
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        keepsRunning->setEnabled(false);
        addNote(column, VXText("This desktop has no tray."));
    }
    column->addWidget(makeSwitch(VXText("Give messages without a date the present one when they are filed"),
                                 u"messages.fix_date_when_moving"_s));
    column->addStretch();
    return column->parentWidget();
}

QWidget *VXMakePhonesPage()
{
    QVBoxLayout *const column = makePage(VXText("Phones"));
    addNote(column,
            VXText("Which phone is used where there are several. Phones are added and changed in the section Phones."));
    auto *const form = new QFormLayout;
    form->setVerticalSpacing(12);
    form->addRow(VXText("Send messages by"), makePhoneChoice(u"messages.device"_s));
    form->addRow(VXText("Call by"), makePhoneChoice(u"calls.device"_s));
    column->addLayout(form);
    column->addStretch();
    return column->parentWidget();
}

QWidget *VXMakeDataPage()
{
    QVBoxLayout *const column = makePage(VXText("Data"));
    const QString folder = VXDataManager::sharedDataFolderPath();
    auto *const form = new QFormLayout;
    auto *const place = new VXTextLabel(folder, VXTextLabel::Role::Body);
    place->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(VXText("Folder"), place);
    form->addRow(VXText("Size"), new VXTextLabel(VXTextOfSize(folder), VXTextLabel::Role::Body));
    column->addLayout(form);
    auto *const open = new QPushButton(VXText("Open the folder"));
    QObject::connect(open, &QPushButton::clicked, open, [folder] {
        VXError error;
        if (!VXApplication::sharedApplication().workspace().openURL(QUrl::fromLocalFile(folder), &error))
            VXApplication::sharedApplication().presentError(error);
    });
    column->addWidget(open, 0, Qt::AlignLeading);
    addNote(column, VXText("Contacts, messages, calls and automations lie there, a folder for each. A copy of the "
                           "folder, made while the program does not run, is a whole backup."));
    column->addWidget(VXMakeStoresList());
    column->addStretch();
    return column->parentWidget();
}

QWidget *VXMakePrivacyPage()
{
    QVBoxLayout *const column = makePage(VXText("Privacy"));
    column->addWidget(
        makeSwitch(VXText("Keep a history of calls and messages that came in, and what automations made of them"),
                   u"events.history"_s));
    addNote(column, VXText("Without it nobody can tell later why an automation did or did not run. Nothing leaves this "
                           "computer but what you send, and what your automations send."));
    column->addStretch();
    return column->parentWidget();
}
