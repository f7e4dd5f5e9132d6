#ifndef QVSTRING_INTERNAL_REPPOOL_H
#define QVSTRING_INTERNAL_REPPOOL_H

// The sequences behind CString objects come from here. Every CString owns a heap-allocated
// std::string; creating and destroying short-lived strings (sub-strings, temporaries) would
// otherwise pay for that allocation each time. Where the platform has cheap thread-local
// storage, each thread keeps a few recently released sequences, with their buffers when those
// are small, and hands them out again.

#include <string>

namespace qvString {
namespace internal {

// An empty sequence owned by the caller until it goes back through releaseNarrowRep.
std::string* acquireNarrowRep();
// Takes back a sequence from acquireNarrowRep (or from new); null is ignored.
void releaseNarrowRep(std::string* rep) noexcept;

} // namespace internal
} // namespace qvString

#endif
