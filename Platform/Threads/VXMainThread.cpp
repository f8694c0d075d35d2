#include "VXMainThread.h"

#include "VXGuard.h"
#include "VXMutex.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QThread>

#include <deque>
#include <exception>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QEvent::Type workEventType = static_cast<QEvent::Type>(QEvent::registerEventType());

// Calls wait in a queue of our own; Qt's event only wakes the loop. So the hand-over is ordered by our lock, which
// thread checkers can see. An event runs one call, after requesting the next event if more calls wait, since a nested
// event loop in that call does not see events posted before it began.
class MainThreadQueue
{
public:
    static MainThreadQueue &shared()
    {
        static auto *queue = new MainThreadQueue;
        return *queue;
    }

    // False, without keeping the work, once the application object is destroyed or before there is one. Work must not
    // throw.
    bool push(std::function<void()> work)
    {
        const VXMutexLocker lock(_lock);
        if (_closed || !attach())
            return false;
        _queue.push_back(std::move(work));
        if (_queue.size() == 1)
            wake();
        return true;
    }

    bool pushAtEnd(std::function<void()> work)
    {
        const VXMutexLocker lock(_lock);
        if (_closed || !attach())
            return false;
        _lastCalls.push_back(std::move(work));
        return true;
    }

    bool isClosed()
    {
        const VXMutexLocker lock(_lock);
        return _closed || (_receiver == nullptr && QCoreApplication::closingDown());
    }

    void runNext()
    {
        if (const std::function<void()> work = pop())
            work();
    }

private:
    // Receives only our own events, and need not inspect them, as Qt's hand-over is invisible to thread checkers.
    class Receiver : public QObject
    {
    protected:
        void customEvent(QEvent *) override { shared().runNext(); }
    };

    // Makes the receiver and moves it to the application's thread, which only the thread that made it can do.
    bool attach() VX_REQUIRES(_lock)
    {
        if (_receiver == nullptr && QCoreApplication::instance() != nullptr) {
            _receiver = new Receiver;
            _receiver->moveToThread(QCoreApplication::instance()->thread());
            qAddPostRoutine([] { shared().close(); });
        }
        return _receiver != nullptr;
    }

    std::function<void()> pop()
    {
        const VXMutexLocker lock(_lock);
        if (_queue.empty())
            return {};
        std::function<void()> work = popFirst();
        if (!_queue.empty())
            wake();
        return work;
    }

    void wake() VX_REQUIRES(_lock) { QCoreApplication::postEvent(_receiver, new QEvent(workEventType)); }

    // Before the application object is destroyed: runs the accepted calls, and those that they add; then accepts no
    // more.
    void close()
    {
        while (const std::function<void()> work = popOrClose())
            work();
        while (const std::function<void()> work = popLastCall())
            work();
    }

    std::function<void()> popLastCall()
    {
        const VXMutexLocker lock(_lock);
        if (_lastCalls.empty())
            return {};
        std::function<void()> work = std::move(_lastCalls.back());
        _lastCalls.pop_back();
        return work;
    }

    std::function<void()> popOrClose()
    {
        const VXMutexLocker lock(_lock);
        _closed = _queue.empty();
        return _closed ? std::function<void()>() : popFirst();
    }

    std::function<void()> popFirst() VX_REQUIRES(_lock)
    {
        std::function<void()> work = std::move(_queue.front());
        _queue.pop_front();
        return work;
    }

    VXMutex _lock;
    std::deque<std::function<void()>> _queue VX_GUARDED_BY(_lock);
    std::vector<std::function<void()>> _lastCalls VX_GUARDED_BY(_lock); // for when it is closed
    Receiver *_receiver VX_GUARDED_BY(_lock) = nullptr;                 // never freed
    bool _closed VX_GUARDED_BY(_lock) = false;
};

// Shared by a waiting caller and the main thread.
struct Rendezvous
{
    VXMutex lock;
    VXCondition condition;
    bool isDone VX_GUARDED_BY(lock) = false;
    std::exception_ptr exception VX_GUARDED_BY(lock);

    void finish(std::exception_ptr thrown)
    {
        const VXMutexLocker locker(lock);
        isDone = true;
        exception = std::move(thrown);
        condition.notifyAll(); // with the lock held, as the waiting caller destroys this right after waking
    }

    void wait()
    {
        const VXMutexLocker locker(lock);
        condition.wait(lock, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return isDone; });
        if (exception)
            std::rethrow_exception(exception);
    }
};

std::function<void()> guarded(std::function<void()> work)
{
    return [work = std::move(work)] {
        VXGuard([&] { return VXDescribeCode(u"Work on the main thread"_s, work.target_type()); }, work);
    };
}

} // namespace

bool VXMainThread::isCurrent()
{
    thread_local const bool isMain = ::gettid() == ::getpid();
    return isMain;
}

bool VXMainThread::perform(std::function<void()> work)
{
    if (!isCurrent())
        return MainThreadQueue::shared().push(guarded(std::move(work)));
    work();
    return true;
}

bool VXMainThread::performAtEnd(std::function<void()> work)
{
    return MainThreadQueue::shared().pushAtEnd(guarded(std::move(work)));
}

bool VXMainThread::performAndWait(const std::function<void()> &work)
{
    if (isCurrent()) {
        work();
        return true;
    }
    Rendezvous rendezvous;
    const bool isAccepted = MainThreadQueue::shared().push([&rendezvous, &work] {
        std::exception_ptr thrown;
        try {
            work();
        } catch (...) {
            thrown = std::current_exception();
        }
        rendezvous.finish(thrown);
    });
    if (isAccepted)
        rendezvous.wait();
    return isAccepted;
}

bool VXMainThread::hasEnded()
{
    return MainThreadQueue::shared().isClosed();
}
