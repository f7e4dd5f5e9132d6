#include "qvRTBSignal.h"

namespace qvRTB {

FunctionBase::~FunctionBase() = default;

bool FunctionBase::matches(void*) const
{
    return false;
}

void FunctionBase::operator()() {}

SignalBase::connectionItem::connectionItem(SignalBase* s, FunctionBase* f)
    : connectionItem(s, f, nullptr)
{
}

SignalBase::connectionItem::connectionItem(SignalBase* s, FunctionBase* f, connectionItem* c)
    : next(nullptr), function(f), signal(s), clientItem(c), lockCount(0), destroyPending(0),
      linked(0)
{
}

SignalBase::connectionItem& SignalBase::connectionItem::operator=(const connectionItem&) = default;

SignalBase::connectionItem::~connectionItem()
{
    delete function;
}

void SignalBase::connectionItem::destroy()
{
    if (clientItem) {
        connectionItem* companion = clientItem;
        clientItem = nullptr;
        companion->destroy();
    }
    if (lockCount != 0) {
        destroyPending = 1;
        return;
    }
    if (linked)
        signal->unlink(this);
    delete this;
}

void SignalBase::unlink(connectionItem* item)
{
    for (connectionItem** link = &head; *link; link = &(*link)->next) {
        if (*link == item) {
            *link = item->next;
            break;
        }
    }
    item->next = nullptr;
    item->linked = 0;
}

SignalBase::~SignalBase()
{
    // Detach everything first: an item locked by an emission in progress outlives the signal
    // and must not reach back into it when it is finally unlocked.
    connectionItem* item = head;
    head = nullptr;
    while (item) {
        connectionItem* next = item->next;
        item->next = nullptr;
        item->linked = 0;
        item->signal = nullptr;
        item->destroy();
        item = next;
    }
}

void* SignalBase::addCallback(FunctionBase* f)
{
    connectionItem* item = new connectionItem(this, f);
    item->next = head;
    item->linked = 1;
    head = item;
    return item;
}

void* SignalBase::addCallback(FunctionBase* f, SignalClient& client)
{
    SignalBase& clientSignal = client;
    auto* companion = static_cast<connectionItem*>(clientSignal.addCallback(
        new FunctionArgMember<SignalClient*, SignalBase>(this, &SignalBase::clientDeleted)));
    connectionItem* item = new connectionItem(this, f, companion);
    item->next = head;
    item->linked = 1;
    head = item;
    return item;
}

void SignalBase::disconnect(void* handle)
{
    for (connectionItem* item = head; item; item = item->next) {
        if (item == handle) {
            item->destroy();
            return;
        }
    }
}

void* SignalBase::findGlobalCallback(void* key)
{
    for (connectionItem* item = head; item; item = item->next) {
        if (item->function && item->function->matches(key))
            return item;
    }
    return nullptr;
}

void SignalBase::clientDeleted(SignalClient* client)
{
    const SignalBase* clientSignal = client;
    connectionItem* item = head;
    while (item) {
        item->lock();
        if (item->clientItem && item->clientItem->signal == clientSignal) {
            item->clientItem = nullptr;
            item->destroy();
        }
        connectionItem* next = item->next;
        item->unlock();
        item = next;
    }
}

int SignalBase::numConnections() const
{
    int count = 0;
    for (const connectionItem* item = head; item; item = item->next)
        ++count;
    return count;
}

SignalClient::~SignalClient()
{
    emit(this);
}

} // namespace qvRTB
