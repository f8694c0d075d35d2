#pragma once

class QString;
class QWidget;

// The pages of the preferences, each newly made; the caller owns them.

[[nodiscard]] QWidget *VXMakeGeneralPage();
[[nodiscard]] QWidget *VXMakePhonesPage();
[[nodiscard]] QWidget *VXMakePluginsPage();
[[nodiscard]] QWidget *VXMakeHotKeysPage();
[[nodiscard]] QWidget *VXMakeDataPage();
[[nodiscard]] QWidget *VXMakePrivacyPage();

/** Part of the data page: the stores, which can be imported, exported and restored as a whole. */
[[nodiscard]] QWidget *VXMakeStoresList();
/** What the files below the folder take, for people. */
[[nodiscard]] QString VXTextOfSize(const QString &folder);
