// Feeds arbitrary text through the bounded formatter as a %s argument: into an Error, whose
// message must stay within its limit, and into a buffer smaller than most inputs. The format
// parser itself is the format target's.
#include "qvUtilError.h"

#include <cstdint>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    qvUtil::Error err(1, "%s", text.c_str());
    if (std::strlen(err.message()) > qvUtil::Error::maxMessageLength)
        __builtin_trap();
    char buffer[32];
    QL_snprintf(buffer, sizeof buffer, "%s", text.c_str());
    return 0;
}
