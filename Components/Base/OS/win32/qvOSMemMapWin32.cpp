#include "../internal/qvOSMemMap.h"

#include "internal/qvUtilPlatform.h"

#include <windows.h>

namespace qvOS {
namespace internal {

namespace {

std::string lastErrorText()
{
    return qvUtil::internal::systemErrorText(static_cast<int>(GetLastError()));
}

} // namespace

qvUtil::Error mapFile(MemMapHandle& handle, const char* filename, unsigned int size,
                      bool writable, void*& view)
{
    view = nullptr;
    HANDLE file = CreateFileA(filename, GENERIC_READ | (writable ? GENERIC_WRITE : 0),
                              FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const std::string text = lastErrorText();
        return writable ? qvUtil::Error(3, "Cannot read/write file %s: %s", filename, text.c_str())
                        : qvUtil::Error(3, "Cannot read file: %s: %s", filename, text.c_str());
    }
    HANDLE mapping = CreateFileMappingA(file, nullptr, writable ? PAGE_READWRITE : PAGE_READONLY,
                                        0, 0, nullptr);
    if (!mapping) {
        const std::string text = lastErrorText();
        CloseHandle(file);
        return qvUtil::Error(2, "%s", text.c_str());
    }
    void* address =
        MapViewOfFile(mapping, writable ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, size);
    if (!address) {
        const std::string text = lastErrorText();
        CloseHandle(mapping);
        CloseHandle(file);
        return qvUtil::Error(2, "%s", text.c_str());
    }
    // The mapping keeps the file open.
    CloseHandle(file);
    handle.mapping = mapping;
    view = address;
    return qvUtil::Error();
}

qvUtil::Error unmapFile(MemMapHandle& handle, const char* filename, void* view, unsigned int)
{
    HANDLE mapping = handle.mapping;
    handle.mapping = nullptr;
    if (!UnmapViewOfFile(view)) {
        const std::string text = lastErrorText();
        CloseHandle(mapping);
        return qvUtil::Error(2, "UnmapViewOfFile() failed for file %s: %s", filename,
                             text.c_str());
    }
    if (!CloseHandle(mapping))
        return qvUtil::Error(2, "CloseHandle() failed for memory mapping of file %s: %s",
                             filename, lastErrorText().c_str());
    return qvUtil::Error();
}

} // namespace internal
} // namespace qvOS
