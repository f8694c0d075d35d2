#pragma once

#include "VXActivityManager.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QThreadPool>

/**
 * Has work done on another thread, shown as an activity, and hands what it answers to `done` on the main thread, unless the
 * context is gone by then. The program waits for it before it ends. Main thread.
 */
template <class Answer, class Work, class Done>
void VXWorkInBackground(QObject *context, const QString &title, Work work, Done done)
{
    const VXActivity::Ptr activity = VXActivityManager::sharedActivityManager().addActivityWithTitle(title);
    QThreadPool::globalInstance()->start([context = QPointer<QObject>(context), activity, work, done] {
        auto answer = std::make_shared<Answer>(work());
        QMetaObject::invokeMethod(QCoreApplication::instance(), [context, activity, answer, done] {
            VXActivityManager::sharedActivityManager().removeActivity(activity);
            if (context)
                done(*answer);
        });
    });
}
