#pragma once

#include <QtWidgets/QProxyStyle>

/** What the style sheet of the theme stands on. Lists that were laid out before the sheet reached them are laid out anew. */
class VXThemeStyle : public QProxyStyle
{
    Q_OBJECT

public:
    VXThemeStyle();

    using QProxyStyle::polish;
    void polish(QWidget *widget) override;
};
