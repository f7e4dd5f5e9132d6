#include "internal/ioFileDescriptor.h"

#include <atomic>

namespace io {
namespace internal {

namespace {

// Counted from every thread; tests arm one fault at a time.
std::atomic<long> callsMade{0};
std::atomic<long> failingCall{0};
std::atomic<int> failingWay{0};

bool fdFaultHere(FdFault& fault)
{
    const long call = ++callsMade;
    if (failingCall == 0 || call != failingCall)
        return false;
    fault = static_cast<FdFault>(failingWay.load());
    return true;
}

} // namespace

void injectFdFault(long call, FdFault fault)
{
    failingWay = static_cast<int>(fault);
    failingCall = call;
    callsMade = 0;
}

long fdCallCount()
{
    return callsMade;
}

bool fdInjectedFailure(FdFailure& failure, int* size)
{
    FdFault fault;
    if (!fdFaultHere(fault))
        return false;
    if (fault == FdFault::shortCount) {
        if (size && *size > 1)
            *size /= 2;
        return false;
    }
    failure = fault == FdFault::noSpace       ? FdFailure::noSpace
        : fault == FdFault::interrupted       ? FdFailure::interrupted
                                              : FdFailure::other;
    return true;
}

} // namespace internal
} // namespace io
