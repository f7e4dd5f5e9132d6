#ifndef QVOS_SYSINFO_H
#define QVOS_SYSINFO_H

#include "qvBaseExport.h"
#include "qvStringCString.h"

namespace qvOS {

// Facts about the machine. Memory is given in KiB (bytes / 1024, truncated). One instance per
// process, from sysInfo(); its caches fill on first use without locking.
class QV_BASE_API SysInfo {
public:
    SysInfo();
    ~SysInfo();
    SysInfo(const SysInfo&) = delete;
    SysInfo& operator=(const SysInfo&) = delete;

    static unsigned int getPageSize();
    // The page size read at construction.
    unsigned int pageSize() const { return pageSizeValue; }

    // Read once and kept.
    unsigned int totalPhysicalMemory();
    // Read anew on every call.
    unsigned int availPhysicalMemory();
    unsigned int totalVirtualMemory();
    unsigned int availVirtualMemory();
    // Read once and kept.
    unsigned int numCPUs();
    // The machine's name (at most 15 characters), "unknown" when the system does not tell.
    const char* hostname();

private:
    unsigned int pageSizeValue;
    unsigned int totalPhysical;
    char* hostName;
    unsigned int cpuCount;
};

QV_BASE_API SysInfo& sysInfo();

} // namespace qvOS

#endif
