// SPDX-License-Identifier: AGPL-3.0-only
#include "RealTimeGuard.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <utility>

namespace
{

struct Watch
{
    bool active = false;
    std::array<int, RealTimeGuard::numOffences> counts {};
    std::array<const char*, RealTimeGuard::numOffences> firsts {}; // the function that came first
    long firstSystemCall = -1;
};

thread_local Watch watch;

/** Notes an offence. Called from anywhere, a signal handler too. */
void note (RealTimeGuard::Offence offence, const char* function) noexcept
{
    if (! watch.active)
        return;

    if (watch.counts[offence]++ == 0)
        watch.firsts[offence] = function;
}

/** The function that stands behind ours. */
template <typename Function>
Function next (const char* name, std::atomic<Function>& found) noexcept
{
    if (found.load (std::memory_order_relaxed) == nullptr)
    {
        const auto wasActive = std::exchange (watch.active, false);
        found.store (reinterpret_cast<Function> (dlsym (RTLD_NEXT, name)), std::memory_order_relaxed);
        watch.active = wasActive;
    }

    return found.load (std::memory_order_relaxed);
}

#if defined(__x86_64__)

constexpr int setSystemCallDispatch = 59, dispatchOff = 0, dispatchOn = 1; // PR_SET_SYSCALL_USER_DISPATCH
thread_local volatile char gate = 0;                                       // 0 lets system calls pass, 1 sends them back

void systemCallSentBack (int, siginfo_t* info, void* context)
{
    gate = 0;
    const auto keptErrno = errno;
    const auto number = static_cast<long> (info->si_syscall);
    constexpr std::array sleeping { SYS_nanosleep, SYS_clock_nanosleep, SYS_select, SYS_pselect6, SYS_poll, SYS_ppoll, SYS_epoll_wait, SYS_pause, SYS_sched_yield };
    const auto isSleep = std::find (sleeping.begin(), sleeping.end(), number) != sleeping.end();
    note (isSleep ? RealTimeGuard::sleep : RealTimeGuard::systemCall, nullptr);
    watch.firstSystemCall = number;

    // Done here what was asked for; new threads and processes cannot be made from a signal handler.
    auto& registers = static_cast<ucontext_t*> (context)->uc_mcontext.gregs;
    long result = -ENOSYS;

    if (number != SYS_clone && number != SYS_clone3 && number != SYS_fork && number != SYS_vfork)
    {
        result = syscall (number, registers[REG_RDI], registers[REG_RSI], registers[REG_RDX], registers[REG_R10], registers[REG_R8], registers[REG_R9]);
        result = result == -1 ? -errno : result;
    }

    registers[REG_RAX] = result;
    errno = keptErrno;
}

bool dispatchSystemCalls (bool on)
{
    struct sigaction action
    {
    };
    action.sa_sigaction = &systemCallSentBack;
    action.sa_flags = SA_SIGINFO;
    return sigaction (SIGSYS, &action, nullptr) == 0
           && prctl (setSystemCallDispatch, on ? dispatchOn : dispatchOff, 0, 0, on ? const_cast<char*> (&gate) : nullptr) == 0;
}

void closeGate (bool closed)
{
    gate = closed ? 1 : 0;
}

#else

bool dispatchSystemCalls (bool)
{
    return false;
}
void closeGate (bool)
{
}

#endif

} // namespace

RealTimeGuard::RealTimeGuard() noexcept
{
    const auto dispatched = dispatchSystemCalls (true);
    watch = {};
    watch.active = true;
    closeGate (dispatched);
}

RealTimeGuard::~RealTimeGuard()
{
    closeGate (false);
    watch.active = false;
    dispatchSystemCalls (false);
}

int RealTimeGuard::count (Offence offence) const noexcept
{
    return watch.counts[offence];
}

std::string RealTimeGuard::report() const
{
    closeGate (false);
    const auto seen = std::exchange (watch, {});
    constexpr const char* names[] { "allocations", "releases", "locks", "sleeps", "system calls", "exceptions" };
    std::string text;

    for (size_t i = 0; i < numOffences; ++i)
        if (seen.counts[i] > 0)
            text += std::string (text.empty() ? "" : ", ") + names[i] + ": " + std::to_string (seen.counts[i]) + " ("
                    + (seen.firsts[i] != nullptr ? seen.firsts[i] : "number " + std::to_string (seen.firstSystemCall)) + ")";

    watch = seen;
    watch.active = false;
    return text;
}

bool RealTimeGuard::seesSystemCalls()
{
    const auto works = dispatchSystemCalls (true);
    dispatchSystemCalls (false);
    return works;
}

//==============================================================================
// In front of the C library's functions; visible, or the C++ library and JUCE would not find them.
#define VARNEL_IN_FRONT extern "C" __attribute__ ((visibility ("default")))

extern "C"
{
    void* __libc_malloc (size_t);
    void* __libc_calloc (size_t, size_t);
    void* __libc_realloc (void*, size_t);
    void* __libc_memalign (size_t, size_t);
    void __libc_free (void*);
}

/** A function that allocates. */
#define VARNEL_ALLOCATION(name, parameters, behind) \
    VARNEL_IN_FRONT void* name parameters           \
    {                                               \
        note (RealTimeGuard::allocation, #name);    \
        return __libc_##behind;                     \
    }

VARNEL_ALLOCATION (malloc, (size_t size), malloc (size))
VARNEL_ALLOCATION (calloc, (size_t number, size_t size), calloc (number, size))
VARNEL_ALLOCATION (realloc, (void* memory, size_t size), realloc (memory, size))
VARNEL_ALLOCATION (memalign, (size_t alignment, size_t size), memalign (alignment, size))
VARNEL_ALLOCATION (aligned_alloc, (size_t alignment, size_t size), memalign (alignment, size))

VARNEL_IN_FRONT int posix_memalign (void** memory, size_t alignment, size_t size)
{
    note (RealTimeGuard::allocation, "posix_memalign");
    *memory = __libc_memalign (alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

VARNEL_IN_FRONT void free (void* memory)
{
    if (memory != nullptr)
        note (RealTimeGuard::release, "free");

    __libc_free (memory);
}

/** A function that takes a lock. One that gives up instead of waiting is none. */
#define VARNEL_LOCK(name, type)                                 \
    VARNEL_IN_FRONT int name (type* lock)                       \
    {                                                           \
        static std::atomic<int (*) (type*)> behind { nullptr }; \
        note (RealTimeGuard::lock, #name);                      \
        return next (#name, behind) (lock);                     \
    }

VARNEL_LOCK (pthread_mutex_lock, pthread_mutex_t)
VARNEL_LOCK (pthread_rwlock_rdlock, pthread_rwlock_t)
VARNEL_LOCK (pthread_rwlock_wrlock, pthread_rwlock_t)
VARNEL_LOCK (pthread_spin_lock, volatile pthread_spinlock_t)
VARNEL_LOCK (sem_wait, sem_t)

extern "C" [[noreturn]] __attribute__ ((visibility ("default"))) void __cxa_throw (void* thrown, std::type_info* type, void (*destroy) (void*))
{
    static std::atomic<void (*) (void*, std::type_info*, void (*) (void*))> behind { nullptr };
    note (RealTimeGuard::exception, "throw");
    next ("__cxa_throw", behind) (thrown, type, destroy);
    std::abort();
}
