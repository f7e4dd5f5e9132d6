#ifndef IOBUFFERTCP_H
#define IOBUFFERTCP_H

#include "ioBuffer.h"
#include "qvBaseExport.h"

namespace qvTCP {
class Socket;
}

// The bottom buffer over a connected socket, which it does not own. Each refill waits for a
// whole data area, or for the peer to close; any socket failure is status 6.
class QV_BASE_API ioBufferTCP : public ioBuffer {
public:
    ioBufferTCP(bool isInput, qvTCP::Socket* socket);

    void finish() override;
    int type() const override;
    // Forgets the socket; closing it is its owner's business.
    void close() override;
    int read(char* data, int size) override;
    void write(const char* data, int size) override;

private:
    qvTCP::Socket* socket;
};

#endif
