#pragma once

#include "VXActivityManager.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QThreadPool>

#include <atomic>
#include <type_traits>

/**
 * The link between work in the background and what shows it: the progress of the work, and whether the user has stopped
 * it. Lives on the main thread; may be queried on any.
 */
class VXWorkControl : public QObject
{
    Q_OBJECT

public:
    explicit VXWorkControl(const QString &title);
    ~VXWorkControl() override;

    VXActivity &activity() { return *_activity; }
    bool isStopped() const { return _isStopped; }
    /** Shows a button that stops the work. */
    void allowStop() { _activity->setDelegate(this); }
    /** Called by that button. */
    Q_INVOKABLE void cancel(QObject *sender);

private:
    const VXActivity::Ptr _activity;
    std::atomic<bool> _isStopped = false;
};

/**
 * Runs work on another thread, shown as an activity, and passes its result to `done` on the main thread, unless the
 * context is gone by then or the user has stopped it. Work can be stopped if it takes a VXWorkControl & and checks it.
 * The program waits for the work before it ends. Main thread.
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
