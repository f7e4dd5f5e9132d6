#include "qvOSSysInfo.h"

#include "internal/qvOSPlatform.h"

#include <cstdlib>
#include <cstring>

namespace qvOS {

namespace {

const unsigned int hostNameSize = 16;

// Sizes past what 32 bits of KiB can say (a 64-bit address space) read as the largest value.
unsigned int kib(std::uint64_t bytes)
{
    const std::uint64_t k = bytes / 1024;
    return k > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<unsigned int>(k);
}

} // namespace

SysInfo::SysInfo()
    : pageSizeValue(getPageSize()), totalPhysical(0), hostName(nullptr), cpuCount(0)
{
}

SysInfo::~SysInfo()
{
    std::free(hostName);
}

unsigned int SysInfo::getPageSize()
{
    return internal::pageSize();
}

unsigned int SysInfo::totalPhysicalMemory()
{
    if (totalPhysical == 0)
        totalPhysical = kib(internal::memoryStatus().totalPhysical);
    return totalPhysical;
}

unsigned int SysInfo::availPhysicalMemory()
{
    return kib(internal::memoryStatus().availPhysical);
}

unsigned int SysInfo::totalVirtualMemory()
{
    return kib(internal::memoryStatus().totalVirtual);
}

unsigned int SysInfo::availVirtualMemory()
{
    return kib(internal::memoryStatus().availVirtual);
}

unsigned int SysInfo::numCPUs()
{
    if (cpuCount == 0)
        cpuCount = internal::processorCount();
    return cpuCount;
}

const char* SysInfo::hostname()
{
    if (!hostName) {
        hostName = static_cast<char*>(std::malloc(hostNameSize));
        std::string name;
        if (!internal::hostName(name) || name.empty())
            name = "unknown";
        // The classic computer-name buffer holds 15 characters.
        std::strncpy(hostName, name.c_str(), hostNameSize - 1);
        hostName[hostNameSize - 1] = 0;
    }
    return hostName;
}

SysInfo& sysInfo()
{
    static SysInfo instance;
    return instance;
}

} // namespace qvOS
