// SPDX-License-Identifier: AGPL-3.0-only
#include "Stop.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace varnel
{

namespace
{

using Flag = std::atomic<int>; // an atomic bool may need a lock, on RISC-V
static_assert (Flag::is_always_lock_free, "a signal handler may not lock");

/** The files that a signal takes along, where its handler can read them: no lock, no memory of the heap. */
struct Slot
{
    Flag taken { false }, inUse { false };
    std::array<char, 4096> path {};
};

constexpr size_t mostFiles = 1024; // one for each thread that writes, and the spools

std::array<Slot, mostFiles> slots;
Flag stopping { false };
std::atomic<int> numUndisturbed { 0 };

constexpr std::array fatalSignals { SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE };

void stop (int signal)
{
    stopping = true;

    // Not for ever: a disk may have gone to sleep. This thread is not among them, for there the signal would have waited.
    for (int i = 0; i < 100000 && numUndisturbed > 0; ++i)
        sched_yield();

    for (auto& slot : slots)
        if (slot.inUse)
            unlink (slot.path.data());

    if (signal != SIGPIPE) // nobody listens, and nobody minds
    {
        constexpr char message[] = "\r\033[Kvarnel-render: stopped; nothing unfinished is left\n";
        constexpr size_t clearLine = 4;
        const auto skip = isatty (STDERR_FILENO) != 0 ? 0 : clearLine;
        [[maybe_unused]] const auto written = write (STDERR_FILENO, message + skip, sizeof (message) - 1 - skip);
    }

    if (signal == SIGQUIT) // which would leave the memory behind
        _exit (128 + signal);

    std::signal (signal, SIG_DFL);
    raise (signal); // so that a shell knows, and ends its loop too
}

sigset_t setOfSignals()
{
    sigset_t set;
    sigemptyset (&set);

    for (const auto signal : fatalSignals)
        sigaddset (&set, signal);

    return set;
}

} // namespace

void endOnSignals()
{
    for (const auto signal : fatalSignals)
    {
        struct sigaction before = {};
        sigaction (signal, nullptr, &before);

        if (signal == SIGHUP && before.sa_handler == SIG_IGN) // nohup
            continue;

        struct sigaction action = {};
        action.sa_handler = stop;
        action.sa_flags = SA_NODEFER;
        action.sa_mask = setOfSignals();
        sigdelset (&action.sa_mask, signal);
        sigaction (signal, &action, nullptr);
    }

    std::signal (SIGXFSZ, SIG_IGN);
}

Undisturbed::Undisturbed()
{
    const auto set = setOfSignals();
    pthread_sigmask (SIG_BLOCK, &set, &before);
    ++numUndisturbed;

    while (stopping) // too late
    {
        numUndisturbed = 0;
        pause();
    }
}

Undisturbed::~Undisturbed()
{
    --numUndisturbed;
    pthread_sigmask (SIG_SETMASK, &before, nullptr);
}

FleetingFile::FleetingFile (const std::filesystem::path& folder)
{
    static std::atomic<int> count { 0 };
    const Undisturbed undisturbed;

    for (size_t i = 0; i < slots.size() && slot < 0; ++i)
        if (! slots[i].taken.exchange (true))
            slot = static_cast<int> (i);

    auto error = slot < 0 ? EMFILE : EEXIST;

    while (error == EEXIST)
    {
        name = folder / (".varnel-" + std::to_string (getpid()) + "-" + std::to_string (count++) + ".part");
        file = open (name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        error = file < 0 ? errno : 0;
    }

    auto& mine = slots[static_cast<size_t> (std::max (0, slot))];

    if (error == 0 && name.native().size() < mine.path.size())
    {
        std::memcpy (mine.path.data(), name.c_str(), name.native().size() + 1);
        mine.inUse = true;
    }

    if (error != 0)
    {
        if (slot >= 0)
            mine.taken = false;

        throw std::system_error (error, std::generic_category());
    }
}

FleetingFile::~FleetingFile()
{
    if (file >= 0)
        close (file);

    auto& mine = slots[static_cast<size_t> (slot)];

    if (! name.empty())
        unlink (name.c_str());

    mine.inUse = false;
    mine.taken = false;
}

int FleetingFile::moveTo (const std::filesystem::path& target)
{
    if (rename (name.c_str(), target.c_str()) != 0)
        return errno;

    slots[static_cast<size_t> (slot)].inUse = false;
    name.clear();
    return 0;
}

} // namespace varnel
