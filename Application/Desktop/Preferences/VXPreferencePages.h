#pragma once

class QWidget;

// The pages of the preferences, each made anew; the caller owns them.

[[nodiscard]] QWidget *VXMakeGeneralPage();
[[nodiscard]] QWidget *VXMakePhonesPage();
[[nodiscard]] QWidget *VXMakePluginsPage();
[[nodiscard]] QWidget *VXMakeHotKeysPage();
[[nodiscard]] QWidget *VXMakeDataPage();
[[nodiscard]] QWidget *VXMakePrivacyPage();
