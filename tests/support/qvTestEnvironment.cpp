#include "qvTestEnvironment.h"

#include <cstdlib>

namespace qvTest {

namespace {

void setVariable(const std::string& name, const char* value)
{
#ifdef _WIN32
    // "NAME=" removes the variable.
    std::string entry = name + "=" + (value ? value : "");
    _putenv(entry.c_str());
#else
    if (value)
        setenv(name.c_str(), value, 1);
    else
        unsetenv(name.c_str());
#endif
}

} // namespace

ScopedEnvironment::ScopedEnvironment(const char* variable, const char* value)
    : name(variable), hadPrevious(false)
{
    if (const char* old = std::getenv(variable)) {
        previous = old;
        hadPrevious = true;
    }
    setVariable(name, value);
}

ScopedEnvironment::~ScopedEnvironment()
{
    setVariable(name, hadPrevious ? previous.c_str() : nullptr);
}

bool runningOnWindows()
{
#ifdef _WIN32
    return true;
#else
    return false;
#endif
}

} // namespace qvTest
