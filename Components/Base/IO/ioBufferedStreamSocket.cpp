#include "ioBufferTCP.h"
#include "ioBufferedStream.h"
#include "qvTCPSocket.h"

ioBufferTCP::ioBufferTCP(bool isInput, qvTCP::Socket* socket) : ioBuffer(isInput), socket(socket) {}

void ioBufferTCP::finish() {}

int ioBufferTCP::type() const
{
    return typeTCP;
}

void ioBufferTCP::close()
{
    socket = nullptr;
}

int ioBufferTCP::read(char* data, int size)
{
    if (!socket || size < 0) {
        setStatus(statusIOError);
        return 0;
    }
    unsigned int received = 0;
    error = socket->read(data, static_cast<unsigned int>(size), &received);
    // The bytes that came before a failure are still delivered; the failure shows on the next
    // read, which gets none. A read without error and without bytes is not an end of file.
    if (error && received == 0)
        setStatus(statusIOError);
    return static_cast<int>(received);
}

void ioBufferTCP::write(const char* data, int size)
{
    if (!socket || size < 0) {
        setStatus(statusIOError);
        return;
    }
    if (socket->write(data, static_cast<unsigned int>(size), nullptr))
        setStatus(statusIOError);
}

// Opening a socket stream replaces the whole chain, as opening a file does.

void ioBufferedStreamInput::openSocket(qvTCP::Socket* socket)
{
    setStatus(ioStreamOk);
    replaceChain(new ioBufferTCP(true, socket));
    promoteBufferStatus();
}

void ioBufferedStreamOutput::openSocket(qvTCP::Socket* socket)
{
    setStatus(ioStreamOk);
    replaceChain(new ioBufferTCP(false, socket));
    promoteBufferStatus();
}
