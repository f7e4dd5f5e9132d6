#ifndef QVTCP_INTERNAL_STARTUP_H
#define QVTCP_INTERNAL_STARTUP_H

namespace qvTCP {
namespace internal {

// Starts the socket library once per process; a failure is printed, never returned.
void startup();

} // namespace internal
} // namespace qvTCP

#endif
