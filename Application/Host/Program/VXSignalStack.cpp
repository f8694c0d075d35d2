#include "VXSignalStack.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <memory>
#include <new>
#include <pthread.h>
#include <sys/mman.h>

namespace {

constexpr size_t stackSize = 64 * 1024;
constexpr std::array crashSignals{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

/** A thread's stack for signal handlers; freed with the thread. */
class SignalStack
{
public:
    SignalStack() : _memory(::mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
    {
        const stack_t stack = {.ss_sp = _memory, .ss_flags = 0, .ss_size = stackSize};
        if (_memory != MAP_FAILED)
            ::sigaltstack(&stack, nullptr);
    }
    ~SignalStack()
    {
        const stack_t none = {.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
        if (_memory != MAP_FAILED && ::sigaltstack(&none, nullptr) == 0)
            ::munmap(_memory, stackSize);
    }
    SignalStack(const SignalStack &) = delete;
    SignalStack &operator=(const SignalStack &) = delete;

private:
    void *const _memory;
};

} // namespace

void VXGiveSignalStack()
{
    [[maybe_unused]] thread_local const SignalStack stack;
}

void VXSetCrashHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_ONSTACK | SA_NODEFER | static_cast<int>(SA_RESETHAND);
    for (const int signal : crashSignals)
        ::sigaction(signal, &action, nullptr);
}

#if defined(__has_feature)
#define VX_HAS_FEATURE(feature) __has_feature(feature)
#else
#define VX_HAS_FEATURE(feature) 0
#endif

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !VX_HAS_FEATURE(address_sanitizer) &&           \
    !VX_HAS_FEATURE(thread_sanitizer)

namespace {

using ThreadFunction = void *(*)(void *);

struct Start
{
    ThreadFunction function;
    void *argument;
};

void *runWithSignalStack(void *given)
{
    const Start start = *std::unique_ptr<Start>(static_cast<Start *>(given));
    VXGiveSignalStack();
    return start.function(start.argument);
}

} // namespace

// The program's own version, which libraries and plugins find before the system's.
extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t *thread, const pthread_attr_t *attributes, ThreadFunction function, void *argument)
{
    static const auto create = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
    auto start = std::unique_ptr<Start>(new (std::nothrow) Start{function, argument});
    if (create == nullptr || !start)
        return EAGAIN;
    const int problem = create(thread, attributes, runWithSignalStack, start.get());
    if (problem == 0)
        static_cast<void>(start.release()); // the thread owns it now
    return problem;
}

#endif
