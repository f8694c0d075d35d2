#pragma once

#include <QtWidgets/QWidget>

class QLabel;
class QPushButton;
class VXTextLabel;

/** What stands where there is nothing to show: a drawing, what is missing, and what to do about it. */
class VXPlaceholder : public QWidget
{
    Q_OBJECT

public:
    explicit VXPlaceholder(QWidget *parent = nullptr);

    /** Texts that are empty, and the buttons they name, are left out. */
    void setTexts(const QString &icon, const QString &title, const QString &text, const QString &button = {},
                  const QString &secondButton = {});

Q_SIGNALS:
    void buttonClicked();
    void secondButtonClicked();

private:
    QLabel *_icon;
    VXTextLabel *_title;
    VXTextLabel *_text;
    QPushButton *_button;
    QPushButton *_secondButton;
};
