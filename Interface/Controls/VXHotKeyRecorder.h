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
 * Records a key combination for a hot key: Return, Space or a click starts recording, the next combination is taken,
 * Escape keeps the old one, Backspace removes it. Problems are shown below: another command has the combination, or the
 * desktop refused it. Main thread only.
 */
class VX_INTERFACE_EXPORT VXHotKeyRecorder : public QWidget
{
    Q_OBJECT

public:
    /** Without an identifier it only records, and binds nothing. */
    explicit VXHotKeyRecorder(const QString &identifier = {}, QWidget *parent = nullptr);
    ~VXHotKeyRecorder() override;

    VXKeyCombination combination() const { return _combination; }
    void setCombination(const VXKeyCombination &combination);
    /** Sets the combination that "reset" restores; without one, there is no such button. */
    void setStandard(const VXKeyCombination &combination);

    bool isRecording() const { return _isRecording; }
    void beginRecording();
    void endRecording();
    /** The problem shown below the field; null for none. */
    QString problem() const;
    void setProblem(const QString &problem);

Q_SIGNALS:
    /** The user chose another combination; if there is a hot key, it was bound and stored before. */
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
    QString _held; // names of the modifiers pressed so far
    QPushButton *const _field;
    QToolButton *const _clear;
    QToolButton *const _reset;
    QLabel *const _problem;
};

/** The key and modifiers of an event, by position on the keyboard; none for a modifier alone. */
VX_INTERFACE_EXPORT VXKeyCombination VXKeyCombinationOfEvent(const QKeyEvent &event);
/** The combination in the names used on the user's keyboard: "Strg+Umschalt+D". Null for none. */
VX_INTERFACE_EXPORT QString VXLocalizedKeyCombination(const VXKeyCombination &combination);
