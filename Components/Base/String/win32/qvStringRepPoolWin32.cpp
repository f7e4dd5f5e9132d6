#include "internal/qvStringRepPool.h"

// Thread-local storage in this toolchain's DLLs is emulated (a call and a lookup per access)
// and is torn down in no fixed order against thread-exit destructors, so sequences are simply
// allocated and freed.

namespace qvString {
namespace internal {

std::string* acquireNarrowRep()
{
    return new std::string;
}

void releaseNarrowRep(std::string* rep) noexcept
{
    delete rep;
}

} // namespace internal
} // namespace qvString
