#ifndef QVBENCH_SUPPORT_H
#define QVBENCH_SUPPORT_H

// Helpers shared by the packet-file benchmarks.

#include <cstdint>
#include <cstdio>
#include <set>
#include <filesystem>
#include <string>
#include <system_error>

#include "qvTestScene.h"

#include <unistd.h> // getpid: the benchmarks run on POSIX systems

namespace qvBench {

// The scratch files a program made, removed when it ends: in /dev/shm they hold memory.
struct ScratchFiles {
    std::set<std::string> paths;
    ~ScratchFiles()
    {
        for (const std::string& path : paths)
            std::remove(path.c_str());
    }
};

// A path for a scratch file, in memory when the system offers /dev/shm, so that the disk does
// not set the pace. The process id keeps concurrent runs from truncating each other's files.
inline std::string tempPath(const char* name)
{
    static ScratchFiles files;
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::is_directory("/dev/shm", ec)
                                    ? std::filesystem::path("/dev/shm")
                                    : std::filesystem::temp_directory_path();
    std::string path = (dir / (std::to_string(::getpid()) + "_" + name)).string();
    files.paths.insert(path);
    return path;
}

// Size of a file in bytes (0 when it cannot be queried).
inline long long fileBytes(const std::string& path)
{
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    return ec ? 0 : static_cast<long long>(size);
}

// The scene both packet-file benchmarks write and read: about 20000 objects with references.
inline const qvTest::Scene& benchScene()
{
    static const qvTest::Scene instance = qvTest::makeScene({20000, 77, 60, 0});
    return instance;
}

} // namespace qvBench

#endif
