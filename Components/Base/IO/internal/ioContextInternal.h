#ifndef IO_INTERNAL_CONTEXTINTERNAL_H
#define IO_INTERNAL_CONTEXTINTERNAL_H

namespace io {
namespace internal {

// Calls the installed abort function, then std::abort() even when it returns.
[[noreturn]] void abortPacketFile();

} // namespace internal
} // namespace io

#endif
