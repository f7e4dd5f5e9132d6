#ifndef QVOS_INTERNAL_MEMMAP_H
#define QVOS_INTERNAL_MEMMAP_H

// The platform half of MemMapFile.

#include "qvUtilError.h"

namespace qvOS {
namespace internal {

// The mapping object that outlives the file handle (a mapping handle on Windows; nothing is
// needed on POSIX, where the mapping holds the file itself).
struct MemMapHandle {
    void* mapping = nullptr;
};

// Maps the first size bytes of filename; view receives the address. The errors carry the
// messages and codes of MemMapFile::map().
qvUtil::Error mapFile(MemMapHandle& handle, const char* filename, unsigned int size,
                      bool writable, void*& view);
qvUtil::Error unmapFile(MemMapHandle& handle, const char* filename, void* view,
                        unsigned int size);

} // namespace internal
} // namespace qvOS

#endif
