// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <array>
#include <string>

/** Watches what the calling thread does, while this lives, that a thread with a deadline must not do.

    The heap, locks and exceptions are seen by functions of ours in front of the C library's, whoever calls them: our
    code, JUCE or the C++ library. System calls, sleeping among them, are seen by the kernel, which sends them back to
    us (Linux' syscall user dispatch, on x86-64); there the first ends the watch for further ones. What offends is done
    all the same.

    One at a time on each thread. Not for builds with sanitizers, which have functions of their own in front.
*/
class RealTimeGuard
{
public:
    enum Offence
    {
        allocation, ///< malloc and its kin, operator new
        release,    ///< free of anything, operator delete
        lock,       ///< a mutex, a read-write or spin lock, a semaphore or a condition, whether it has to wait or not
        sleep,      ///< a system call that waits for time to pass or for events
        systemCall, ///< any other
        exception,  ///< a throw
        numOffences
    };

    RealTimeGuard() noexcept;
    ~RealTimeGuard();

    RealTimeGuard (const RealTimeGuard&) = delete;
    RealTimeGuard& operator= (const RealTimeGuard&) = delete;

    int count (Offence) const noexcept;

    /** What has happened, in words; empty if nothing has. */
    std::string report() const;

    /** Whether the kernel helps. Without it neither sleeps nor system calls are seen. */
    static bool seesSystemCalls();
};
