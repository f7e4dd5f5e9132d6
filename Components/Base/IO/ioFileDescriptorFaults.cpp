#include "internal/ioFileDescriptor.h"

namespace io {
namespace internal {

bool fdInjectedFailure(FdFailure& failure, int* size)
{
    FdFault fault;
    if (!qvOS::internal::fileFaultHere(fault))
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
