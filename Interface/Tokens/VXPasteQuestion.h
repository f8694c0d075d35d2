#pragma once

#include <QtWidgets/QFrame>

#include <functional>

class QPushButton;

/** Asks, inside a field, whether many addresses should be added. Deletes itself after the answer. */
class VXPasteQuestion : public QFrame
{
    Q_OBJECT

public:
    VXPasteQuestion(qsizetype count, std::function<void(bool isYes)> answered, QWidget &field);

    /** Moves to the lower edge of its field. */
    void place();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void answer(bool isYes);

    std::function<void(bool isYes)> _answered; // called once
    QPushButton *const _cancel;
};
