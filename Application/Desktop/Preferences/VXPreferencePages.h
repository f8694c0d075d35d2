#pragma once

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
