#include "internal/qvOSPlatform.h"

#include <atomic>

namespace qvOS {
namespace internal {

namespace {

// Counted from every thread; tests arm one fault at a time.
std::atomic<long> callsMade{0};
std::atomic<long> failingCall{0};
std::atomic<int> failingWay{0};

} // namespace

void injectFileFault(long call, FileFault fault)
{
    failingWay = static_cast<int>(fault);
    failingCall = call;
    callsMade = 0;
}

long fileCallCount()
{
    return callsMade;
}

bool fileFaultHere(FileFault& fault)
{
    const long call = ++callsMade;
    if (failingCall == 0 || call != failingCall)
        return false;
    fault = static_cast<FileFault>(failingWay.load());
    return true;
}

} // namespace internal
} // namespace qvOS
