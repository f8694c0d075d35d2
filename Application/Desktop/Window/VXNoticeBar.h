#pragma once

#include <QtCore/QTimer>
#include <QtWidgets/QFrame>

#include <functional>

class QPushButton;
class VXTextLabel;

/**
 * Says for ten seconds what was done, with a way to undo it; or what went wrong, until it is closed. Floats over the
 * bottom of its parent.
 */
class VXNoticeBar : public QFrame
{
    Q_OBJECT

public:
    explicit VXNoticeBar(QWidget *parent);

    /** The action, such as "Undo", closes the bar; there is none if its title is empty. */
    void showDone(const QString &text, const QString &action = {}, const std::function<void()> &perform = {});
    void showProblem(const QString &text, const QString &action = {}, const std::function<void()> &perform = {});
    bool isProblem() const { return _isProblem; }
    QString text() const;

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void showText(const QString &text, const QString &action, const std::function<void()> &perform);
    void place();

    VXTextLabel *_text;
    QPushButton *_action;
    std::function<void()> _perform;
    QTimer _end;
    bool _isProblem = false;
};
