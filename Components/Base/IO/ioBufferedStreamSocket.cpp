#include "ioBufferedStream.h"

// Streams over a connected socket need the socket buffer of the TCP layer. Until it is part of
// the library, opening a socket stream fails the way a failed open does.

void ioBufferedStreamInput::openSocket(qvTCP::Socket*)
{
    replaceChain(nullptr);
    setStatus(ioStreamOpenFailed);
}

void ioBufferedStreamOutput::openSocket(qvTCP::Socket*)
{
    replaceChain(nullptr);
    setStatus(ioStreamOpenFailed);
}
