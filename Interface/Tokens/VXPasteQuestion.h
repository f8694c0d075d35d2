#pragma once

#include <QtWidgets/QFrame>

#include <functional>

/** Asks, inside a field, whether many addresses are to be added. Deletes itself with the answer. */
class VXPasteQuestion : public QFrame
{
    Q_OBJECT

public:
    VXPasteQuestion(qsizetype count, std::function<void(bool isYes)> answered, QWidget &field);

    /** At the lower edge of its field. */
    void place();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void answer(bool isYes);

    std::function<void(bool isYes)> _answered; // once
};
