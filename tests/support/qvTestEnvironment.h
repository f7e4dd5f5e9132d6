#ifndef QVTEST_ENVIRONMENT_H
#define QVTEST_ENVIRONMENT_H

// Environment variables for tests, set and restored.

#include <string>

namespace qvTest {

// Sets name to value (or removes it when value is null) and restores the previous state when
// the object goes.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string name;
    std::string previous;
    bool hadPrevious;
};

// True when the tests run as a Windows program.
bool runningOnWindows();

} // namespace qvTest

#endif
