#include "qvTestSupport.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace qvTest {

TempDir::TempDir()
{
    static std::atomic<unsigned> counter{0};
    auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    fs::path base = fs::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path candidate = base / ("qvBase-test-" + std::to_string(stamp) + "-"
                                     + std::to_string(counter++));
        std::error_code ec;
        if (fs::create_directory(candidate, ec)) {
            dir = candidate.string();
            return;
        }
    }
    throw std::runtime_error("cannot create a temporary directory");
}

TempDir::~TempDir()
{
    std::error_code ec;
    fs::remove_all(dir, ec);
}

std::string TempDir::file(const std::string& name) const
{
    return dir + "/" + name;
}

std::string readFileBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFileBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string dataFile(const std::string& name)
{
    return std::string(QVBASE_TEST_DATA_DIR) + "/" + name;
}

} // namespace qvTest
