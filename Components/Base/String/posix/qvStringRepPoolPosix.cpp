#include "internal/qvStringRepPool.h"

namespace qvString {
namespace internal {

namespace {

constexpr unsigned slotCount = 16;
// Released sequences with more room than this give their buffer back first.
constexpr std::size_t keptCapacity = 256;

enum class PoolState : unsigned char { unused, active, gone };

// Trivially destructible, so that it stays usable after the thread's destructors ran.
struct Slots {
    std::string* rep[slotCount];
    unsigned count;
    PoolState state;
};

// Initial-exec: a plain offset from the thread pointer instead of a lookup call on every use.
// The block is small enough for the static TLS reserve even when the library is loaded late.
thread_local Slots slots __attribute__((tls_model("initial-exec")));

// Frees what the thread still holds when the thread ends; afterwards sequences are deleted
// at once.
struct Reaper {
    ~Reaper()
    {
        while (slots.count > 0)
            delete slots.rep[--slots.count];
        slots.state = PoolState::gone;
    }
    void arm() {}
};

thread_local Reaper reaper;

} // namespace

std::string* acquireNarrowRep()
{
    Slots& s = slots;
    if (s.count > 0)
        return s.rep[--s.count];
    return new std::string;
}

void releaseNarrowRep(std::string* rep) noexcept
{
    if (!rep)
        return;
    Slots& s = slots;
    if (s.state != PoolState::active) {
        if (s.state == PoolState::gone) {
            delete rep;
            return;
        }
        reaper.arm();  // first use on this thread: registers the clean-up at thread exit
        s.state = PoolState::active;
    }
    if (s.count == slotCount) {
        delete rep;
        return;
    }
    if (rep->capacity() > keptCapacity)
        std::string().swap(*rep);
    else
        rep->clear();
    s.rep[s.count++] = rep;
}

} // namespace internal
} // namespace qvString
