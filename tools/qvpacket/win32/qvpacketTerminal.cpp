#include "qvpacketCommands.h"

#include <io.h>

namespace qvPacket {

bool isTerminal(std::FILE* stream)
{
    return stream && _isatty(_fileno(stream)) != 0;
}

} // namespace qvPacket
