#pragma once

#include "VXInterfaceExport.h"
#include "VXKeyCombination.h"

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

class QKeyEvent;
class QLabel;
class QPushButton;
class QToolButton;

/**
 * Records a key combination for a hot key: Return, Space or a click begins, the next combination is taken, Escape keeps the old
 * one, Backspace takes it away. What hinders it is told below: another command has it, or the desktop refused. Main thread
 * only.
 */
class VX_INTERFACE_EXPORT VXHotKeyRecorder : public QWidget
{
    Q_OBJECT

public:
    /** Without an identifier it only records. */
    explicit VXHotKeyRecorder(const QString &identifier = {}, QWidget *parent = nullptr);
    ~VXHotKeyRecorder() override;

    VXKeyCombination combination() const { return _combination; }
    void setCombination(const VXKeyCombination &combination);
    /** What "reset" brings back; none: there is no such button. */
    void setStandard(const VXKeyCombination &combination);

    bool isRecording() const { return _isRecording; }
    void beginRecording();
    void endRecording();
    /** Said below the field; null for nothing. */
    QString problem() const;
    void setProblem(const QString &problem);

Q_SIGNALS:
    /** The user chose another one; of a hot key it is bound and stored by then. */
    void combinationDidChange(const VXKeyCombination &combination);

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void take(const QKeyEvent &event);
    void change(const VXKeyCombination &combination);
    bool bind(const VXKeyCombination &combination);
    void followManager();
    void update();

    const QString _identifier;
    VXKeyCombination _combination;
    VXKeyCombination _standard;
    bool _isRecording = false;
    QString _held; // modifiers pressed so far, for people
    QPushButton *const _field;
    QToolButton *const _clear;
    QToolButton *const _reset;
    QLabel *const _problem;
};

/** The key and modifiers of an event, by the place on the keyboard; none for a modifier alone. */
VX_INTERFACE_EXPORT VXKeyCombination VXKeyCombinationOfEvent(const QKeyEvent &event);
/** In the names that the user's keyboard has: "Strg+Umschalt+D". Null for none. */
VX_INTERFACE_EXPORT QString VXLocalizedKeyCombination(const VXKeyCombination &combination);
