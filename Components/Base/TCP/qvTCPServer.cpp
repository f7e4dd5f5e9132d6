#include "qvTCPServer.h"

#include "internal/qvTCPSocketRecord.h"

namespace qvTCP {

using internal::socketError;

struct Server::Record {
    int port = 0;
    int backlog = 0;
    ListeningSocket* listening = nullptr;
    bool ephemeral = false;
};

Server::Server(int port, int backlog) : record(new Record)
{
    record->ephemeral = port == -1;
    record->port = record->ephemeral ? 0 : port;
    record->backlog = backlog;
}

Server::~Server()
{
    shutdown();
    delete record;
}

qvUtil::Error Server::listen()
{
    shutdown();
    ListeningSocket* listening = new ListeningSocket;
    Socket::Record& socket = *listening->record;
    qvUtil::Error error;
    socket.socket = internal::createStreamSocket();
    if (socket.socket == internal::invalidSocket) {
        error = socketError(2);
    } else {
        internal::allowAddressReuse(socket.socket);
        if (internal::bindAny(socket.socket, record->port) != 0) {
            int failure = internal::lastError();
            error = socketError(internal::classify(failure) == internal::Failure::addressInUse ? 3 : 1,
                                failure, "bind() failed: %s");
        } else if (internal::listenOn(socket.socket, record->backlog) != 0) {
            error = socketError(1);
        } else if (record->ephemeral) {
            std::pair<const Address*, qvUtil::Error> local = listening->localAddress();
            if (local.second)
                error = qvUtil::Error(1, "Cannot get listening socket address: %s", local.second.message());
            else
                record->port = local.first->getPort();
        }
    }
    // A server that failed to listen keeps no half-made socket: the next accept() tries again.
    if (error)
        delete listening;
    else
        record->listening = listening;
    return error;
}

std::pair<Socket*, qvUtil::Error> Server::accept(qvUtil::Interval timeout)
{
    if (!record->listening) {
        qvUtil::Error error = listen();
        if (error)
            return {nullptr, error};
    }
    internal::NativeSocket listening = record->listening->record->socket;
    if (!timeout.isZero()) {
        int ready = internal::waitReadable(listening, &timeout);
        if (ready < 0)
            return {nullptr, socketError(1)};
        if (ready == 0)
            return {nullptr, qvUtil::Error()};
    }
    internal::NativeSocket accepted = internal::acceptOn(listening);
    if (accepted == internal::invalidSocket)
        return {nullptr, socketError(1)};
    if (internal::setLinger(accepted, internal::lingerSeconds) != 0) {
        qvUtil::Error error = socketError(1);
        internal::closeSocket(accepted);
        return {nullptr, error};
    }
    internal::setNoDelay(accepted); // a speed-up only
    return {new ServerSocket(accepted), qvUtil::Error()};
}

bool Server::connectionPending() const
{
    return record->listening && record->listening->dataAvailable();
}

int Server::getPort() const
{
    return record->port;
}

void Server::shutdown()
{
    delete record->listening;
    record->listening = nullptr;
}

} // namespace qvTCP
