#pragma once

class QWidget;

// The pages of the preferences, each made anew; the caller owns them.

[[nodiscard]] QWidget *VXMakeGeneralPage();
[[nodiscard]] QWidget *VXMakePhonesPage();
[[nodiscard]] QWidget *VXMakePluginsPage();
[[nodiscard]] QWidget *VXMakeHotKeysPage();
[[nodiscard]] QWidget *VXMakeDataPage();
[[nodiscard]] QWidget *VXMakePrivacyPage();

/** Of the page of data: the stores, to be imported, exported and taken back as a whole. */
[[nodiscard]] QWidget *VXMakeStoresList();
