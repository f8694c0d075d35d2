#pragma once

#include <QtWidgets/QProxyStyle>

/**
 * The base style for the theme's style sheet. Lists that were laid out before the sheet was applied are laid out again.
 */
class VXThemeStyle : public QProxyStyle
{
    Q_OBJECT

public:
    VXThemeStyle();

    using QProxyStyle::polish;
    void polish(QWidget *widget) override;
};
