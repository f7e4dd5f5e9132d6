#include "qvpacketCommands.h"

#include <unistd.h>

namespace qvPacket {

bool isTerminal(std::FILE* stream)
{
    return stream && isatty(fileno(stream)) != 0;
}

} // namespace qvPacket
