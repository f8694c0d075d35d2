#pragma once

#include "VXActivityManager.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QThreadPool>

#include <atomic>
#include <type_traits>

/** Between work in the background and what shows it: how far the work is, and whether the user has stopped it. Lives on the main
 *  thread; asked on any. */
class VXWorkControl : public QObject
{
    Q_OBJECT

public:
    explicit VXWorkControl(const QString &title);
    ~VXWorkControl() override;

    VXActivity &activity() { return *_activity; }
    bool isStopped() const { return _isStopped; }
    /** Shows a button to stop it. */
    void allowStop() { _activity->setDelegate(this); }
    /** What that button does. */
    Q_INVOKABLE void cancel(QObject *sender);

private:
    const VXActivity::Ptr _activity;
    std::atomic<bool> _isStopped = false;
};

/**
 * Has work done on another thread, shown as an activity, and hands what it answers to `done` on the main thread, unless the
 * context is gone by then, or the user has stopped it: which work can be that takes a VXWorkControl &, and asks it. The program waits
 * for it before it ends. Main thread.
 */
template <class Answer, class Work, class Done>
void VXWorkInBackground(QObject *context, const QString &title, Work work, Done done)
{
    constexpr bool canStop = std::is_invocable_v<Work &, VXWorkControl &>;
    auto *const control = new VXWorkControl(title);
    if constexpr (canStop)
        control->allowStop();
    QThreadPool::globalInstance()->start([context = QPointer<QObject>(context), control, work, done]() mutable {
        std::shared_ptr<Answer> answer;
        if constexpr (canStop)
            answer = std::make_shared<Answer>(work(*control));
        else
            answer = std::make_shared<Answer>(work());
        QMetaObject::invokeMethod(QCoreApplication::instance(), [context, control, answer, done] {
            const bool isStopped = control->isStopped();
            delete control;
            if (context && !isStopped)
                done(*answer);
        });
    });
}
