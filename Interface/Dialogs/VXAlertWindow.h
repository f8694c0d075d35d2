#pragma once

#include "VXInterfaceExport.h"
#include "VXUserInterface.h"

#include <QtWidgets/QDialog>

#include <array>

class QBoxLayout;
class QCheckBox;
class QPushButton;

/**
 * The window of an alert: up to three buttons, a check box, and details that can be unfolded. Return presses the
 * default button; Escape and closing the window press the button for dismissal. Main thread only.
 */
class VX_INTERFACE_EXPORT VXAlertWindow : public QDialog
{
    Q_OBJECT

public:
    enum class Kind { Notice, Question, Error };

    explicit VXAlertWindow(const VXAlert &alert, QWidget *parent = nullptr);
    VXAlertWindow(const VXAlert &alert, Kind kind, QWidget *parent = nullptr);
    ~VXAlertWindow() override;

    /** Shows the window until the user has answered; quitting the application counts as dismissal. */
    VXAlertResult runModal();

    /** Null for a button that does not exist. */
    QPushButton *button(VXAlertButton button) const;
    QCheckBox *checkBox() const { return _checkBox; }

protected:
    void showEvent(QShowEvent *event) override;

private:
    void addTexts(QBoxLayout &column);
    void addDetails(QBoxLayout &column);
    QBoxLayout *makeButtons();
    void press(VXAlertButton button);

    const VXAlert _alert;
    const Kind _kind;
    VXAlertButton _pressed;
    std::array<QPushButton *, 3> _buttons{};
    QCheckBox *_checkBox = nullptr;
};
