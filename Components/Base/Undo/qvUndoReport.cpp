#include "qvUndoManager.h"

#include "internal/qvUndoTrace.h"
#include "qvUtilError.h"

#include <cstdarg>
#include <cstdio>

namespace {

// The trace file, closed when the library is unloaded.
struct TraceFile {
    std::FILE* file = nullptr;
    ~TraceFile()
    {
        if (file)
            std::fclose(file);
    }
};

TraceFile trace;

} // namespace

namespace qvUndo {
namespace internal {

bool tracing()
{
    return trace.file != nullptr;
}

} // namespace internal
} // namespace qvUndo

void qvUndoReportInit(const char* path)
{
    if (trace.file)
        std::fclose(trace.file);
    trace.file = path ? std::fopen(path, "a") : nullptr;
    if (trace.file) {
        std::fputs("\n------------------------------\n\n", trace.file);
        std::fflush(trace.file);
    }
}

void qvUndoReport(const char* format, ...)
{
    if (!trace.file)
        return;
    char buffer[1024];
    va_list args;
    va_start(args, format);
    QL_vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    buffer[sizeof buffer - 1] = '\0';
    // Written as plain text: names inside the formatted line may hold '%', which must not be
    // read as a conversion.
    std::fputs(buffer, trace.file);
    std::fflush(trace.file);
}
