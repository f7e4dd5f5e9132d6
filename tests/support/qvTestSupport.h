#ifndef QVTEST_SUPPORT_H
#define QVTEST_SUPPORT_H

// Helpers shared by the test programs.

#include <string>

namespace qvTest {

// A directory of its own for one test, removed with everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return dir; }
    // dir + "/" + name
    std::string file(const std::string& name) const;

private:
    std::string dir;
};

// Whole contents of a file as bytes ("" when it cannot be read).
std::string readFileBytes(const std::string& path);
void writeFileBytes(const std::string& path, const std::string& bytes);

// Path of a file committed under tests/data.
std::string dataFile(const std::string& name);

} // namespace qvTest

#endif
