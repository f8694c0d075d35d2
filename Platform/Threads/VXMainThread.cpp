#include "VXMainThread.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXMutex.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QThread>

#include <deque>
#include <exception>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QEvent::Type workEventType = static_cast<QEvent::Type>(QEvent::registerEventType());

struct Work
{
    std::function<void()> run;
    std::function<void()> drop; // tells a waiting caller that the work will never run
};

// Calls wait in a queue of our own; Qt's event only wakes the loop. So the hand-over is ordered by our lock, which
// thread checkers can see. An event runs one call, after asking for the next event if more calls wait: a nested event
// loop in that call does not see events that were posted before it began.
class MainThreadQueue
{
public:
    static MainThreadQueue &shared()
    {
        static auto *queue = new MainThreadQueue;
        return *queue;
    }

    // False, without keeping the work, once the application object is gone or before there is one.
    bool push(Work work)
    {
        const VXMutexLocker lock(_lock);
        if (_closed || !attach())
            return false;
        _queue.push_back(std::move(work));
        if (_queue.size() == 1)
            wake();
        return true;
    }

    void runNext()
    {
        if (const Work work = pop(); work.run)
            work.run();
    }

private:
    // Told of events of our own only, and has no need to look into them: Qt's hand-over is hidden from thread checkers.
    class Receiver : public QObject
    {
    protected:
        void customEvent(QEvent *) override { shared().runNext(); }
    };

    // Makes the receiver and gives it to the application's thread: only the thread that made it may do that.
    bool attach() VX_REQUIRES(_lock)
    {
        if (_receiver == nullptr && QCoreApplication::instance() != nullptr) {
            _receiver = new Receiver;
            _receiver->moveToThread(QCoreApplication::instance()->thread());
            qAddPostRoutine([] { shared().close(); });
        }
        return _receiver != nullptr;
    }

    Work pop()
    {
        const VXMutexLocker lock(_lock);
        if (_queue.empty())
            return {};
        Work work = std::move(_queue.front());
        _queue.pop_front();
        if (!_queue.empty())
            wake();
        return work;
    }

    void wake() VX_REQUIRES(_lock) { QCoreApplication::postEvent(_receiver, new QEvent(workEventType)); }

    // With the application object everything that still waits goes too.
    void close()
    {
        std::deque<Work> dropped;
        {
            const VXMutexLocker lock(_lock);
            _closed = true;
            dropped.swap(_queue);
        }
        for (const Work &work : dropped) {
            if (work.drop)
                work.drop();
        }
    }

    VXMutex _lock;
    std::deque<Work> _queue VX_GUARDED_BY(_lock);
    Receiver *_receiver VX_GUARDED_BY(_lock) = nullptr; // never freed
    bool _closed VX_GUARDED_BY(_lock) = false;
};

void runReporting(const std::function<void()> &work)
{
    try {
        work();
    } catch (const std::exception &exception) {
        VXReportDiagnostic(3, u"Exception in work on the main thread: %1"_s.arg(QString::fromUtf8(exception.what())));
    } catch (...) {
        VXReportDiagnostic(3, u"Unknown exception in work on the main thread"_s);
    }
}

// What a waiting caller and the main thread share.
struct Rendezvous
{
    enum class State { Waiting, Done, Dropped };

    VXMutex lock;
    VXCondition condition;
    State state VX_GUARDED_BY(lock) = State::Waiting;
    std::exception_ptr exception VX_GUARDED_BY(lock);

    void finish(State result, std::exception_ptr thrown = {})
    {
        const VXMutexLocker locker(lock);
        state = result;
        exception = std::move(thrown);
        condition.notifyAll(); // under the lock: the waiting caller destroys this right after waking
    }

    bool wait()
    {
        const VXMutexLocker locker(lock);
        condition.wait(lock, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return state != State::Waiting; });
        if (exception)
            std::rethrow_exception(exception);
        return state == State::Done;
    }
};

} // namespace

bool VXMainThread::isCurrent()
{
    thread_local const bool isMain = ::gettid() == ::getpid();
    return isMain;
}

void VXMainThread::perform(std::function<void()> work)
{
    if (isCurrent())
        work();
    else
        MainThreadQueue::shared().push({[work = std::move(work)] { runReporting(work); }, {}});
}

bool VXMainThread::performAndWait(const std::function<void()> &work)
{
    if (isCurrent()) {
        work();
        return true;
    }
    Rendezvous rendezvous;
    const auto run = [&rendezvous, &work] {
        std::exception_ptr thrown;
        try {
            work();
        } catch (...) {
            thrown = std::current_exception();
        }
        rendezvous.finish(Rendezvous::State::Done, thrown);
    };
    const auto drop = [&rendezvous] { rendezvous.finish(Rendezvous::State::Dropped); };
    return MainThreadQueue::shared().push({run, drop}) && rendezvous.wait();
}
