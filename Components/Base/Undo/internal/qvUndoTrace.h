#ifndef QVUNDO_INTERNAL_TRACE_H
#define QVUNDO_INTERNAL_TRACE_H

namespace qvUndo {
namespace internal {

// True while a trace file is open: callers skip working out trace arguments otherwise.
bool tracing();

} // namespace internal
} // namespace qvUndo

#endif
