#ifndef QVUTIL_INTERNAL_INITIALIZER_STATE_H
#define QVUTIL_INTERNAL_INITIALIZER_STATE_H

// The process-wide state behind qvUtil::Initializer, reachable here for a host that marks the
// start-up as done and for the tests.

#include "qvBaseExport.h"

namespace qvUtil {
namespace internal {

// The "already called" byte: while it is non-zero, Initializer::initializeAll() refuses to run.
// The library itself never sets it.
QV_BASE_API unsigned char& initializerAlreadyCalled();

} // namespace internal
} // namespace qvUtil

#endif
