#ifndef QVRTB_SIGNAL_H
#define QVRTB_SIGNAL_H

// Signals keep a list of connections, each owning a function object that an emission calls.
// Connections are called newest first. A callback may disconnect itself or any other connection
// of the signal it is called from, and may destroy clients or the signal itself: an item that is
// being called stays alive until the call returns, and the next item is looked up only then.
// Signals are for one thread at a time; callers serialise access.

#include "qvBaseExport.h"
#include "qvRTBFunction.h"

#include <cstdint>

namespace qvRTB {

class SignalClient;

class QV_BASE_API SignalBase {
public:
    // One connection of a signal. `clientItem` is the companion connection placed on a
    // SignalClient; the two are destroyed together.
    class QV_BASE_API connectionItem {
    public:
        connectionItem(SignalBase* signal, FunctionBase* function);
        connectionItem(SignalBase* signal, FunctionBase* function, connectionItem* clientItem);
        connectionItem& operator=(const connectionItem& other);
        ~connectionItem();

        void lock() { ++lockCount; }
        void unlock()
        {
            --lockCount;
            if (lockCount == 0 && destroyPending)
                destroy();
        }
        // Unlinks and deletes the item together with its companion; an item that is locked is
        // deleted at its last unlock instead.
        void destroy();

        connectionItem* next;
        FunctionBase* function;
        SignalBase* signal;
        connectionItem* clientItem;
        std::uint16_t lockCount;
        std::uint8_t destroyPending;
        std::uint8_t linked;
    };

    SignalBase(const SignalBase&) = delete;
    SignalBase& operator=(const SignalBase&) = delete;
    virtual ~SignalBase();

    // Removes the connection that addCallback returned; handles of other signals and handles
    // already removed are ignored.
    void disconnect(void* handle);
    int numConnections() const;
    bool isConnected() const { return head != nullptr; }

protected:
    SignalBase() : head(nullptr) {}

    void* addCallback(FunctionBase* f);
    // The connection ends when `client` is destroyed.
    void* addCallback(FunctionBase* f, SignalClient& client);
    void* findGlobalCallback(void* key);
    void clientDeleted(SignalClient* client);

    // Calls `call(function)` for every connection, newest first.
    template <class Call>
    void emitEach(Call&& call)
    {
        connectionItem* item = head;
        while (item) {
            item->lock();
            call(item->function);
            connectionItem* next = item->next;
            item->unlock();
            item = next;
        }
    }

    connectionItem* head;

private:
    void unlink(connectionItem* item);
};

// A signal of one argument.
template <class T>
class Signal1Arg : public SignalBase {
public:
    Signal1Arg() = default;

    void* addCallback(FunctionArgBase<T>* f) { return SignalBase::addCallback(f); }
    void* addCallback(FunctionArgBase<T>* f, SignalClient& client)
    {
        return SignalBase::addCallback(f, client);
    }
    void* addCallback(void (*f)(T)) { return addCallback(new FunctionArg<T>(f)); }
    void* addCallback(void (*f)(T), SignalClient& client)
    {
        return addCallback(new FunctionArg<T>(f), client);
    }
    template <class C>
    void* addCallback(C* object, void (C::*member)(T))
    {
        return addCallback(new FunctionArgMember<T, C>(object, member));
    }
    template <class C>
    void* addCallback(C* object, void (C::*member)(T), SignalClient& client)
    {
        return addCallback(new FunctionArgMember<T, C>(object, member), client);
    }
    // Any callable taking T, a capturing lambda for instance; the signal keeps a copy.
    template <class F, class = std::enable_if_t<isWrappableCallable<F, T>>>
    void* addCallback(F&& f)
    {
        return addCallback(new FunctionArgCallable<T, std::decay_t<F>>(std::forward<F>(f)));
    }
    template <class F, class = std::enable_if_t<isWrappableCallable<F, T>>>
    void* addCallback(F&& f, SignalClient& client)
    {
        return addCallback(new FunctionArgCallable<T, std::decay_t<F>>(std::forward<F>(f)), client);
    }
    // The connection of the free function `f`, or null.
    void* findGlobalCallback(void (*f)(T))
    {
        return SignalBase::findGlobalCallback(reinterpret_cast<void*>(f));
    }

    void emit(T argument)
    {
        emitEach([&](FunctionBase* f) { (*static_cast<FunctionArgBase<T>*>(f))(argument); });
    }
};

// A signal of three arguments.
template <class A1, class A2, class A3>
class Signal3Args : public SignalBase {
public:
    Signal3Args() = default;

    void* addCallback(Function3ArgsBase<A1, A2, A3>* f) { return SignalBase::addCallback(f); }
    void* addCallback(Function3ArgsBase<A1, A2, A3>* f, SignalClient& client)
    {
        return SignalBase::addCallback(f, client);
    }
    void* addCallback(void (*f)(A1, A2, A3))
    {
        return addCallback(new Function3Args<A1, A2, A3>(f));
    }
    void* addCallback(void (*f)(A1, A2, A3), SignalClient& client)
    {
        return addCallback(new Function3Args<A1, A2, A3>(f), client);
    }
    template <class C>
    void* addCallback(C* object, void (C::*member)(A1, A2, A3))
    {
        return addCallback(new Function3ArgsMember<A1, A2, A3, C>(object, member));
    }
    template <class C>
    void* addCallback(C* object, void (C::*member)(A1, A2, A3), SignalClient& client)
    {
        return addCallback(new Function3ArgsMember<A1, A2, A3, C>(object, member), client);
    }
    template <class F, class = std::enable_if_t<isWrappableCallable<F, A1, A2, A3>>>
    void* addCallback(F&& f)
    {
        return addCallback(new Function3ArgsCallable<A1, A2, A3, std::decay_t<F>>(std::forward<F>(f)));
    }
    template <class F, class = std::enable_if_t<isWrappableCallable<F, A1, A2, A3>>>
    void* addCallback(F&& f, SignalClient& client)
    {
        return addCallback(new Function3ArgsCallable<A1, A2, A3, std::decay_t<F>>(std::forward<F>(f)), client);
    }
    void* findGlobalCallback(void (*f)(A1, A2, A3))
    {
        return SignalBase::findGlobalCallback(reinterpret_cast<void*>(f));
    }

    void emit(A1 a1, A2 a2, A3 a3)
    {
        emitEach([&](FunctionBase* f) {
            (*static_cast<Function3ArgsBase<A1, A2, A3>*>(f))(a1, a2, a3);
        });
    }
};

// A signal without arguments: calls FunctionBase::operator()() of each connection.
class QV_BASE_API SignalVoid : public SignalBase {
public:
    SignalVoid() = default;

    // Any function object may be connected: the no-argument call is part of FunctionBase.
    void* addCallback(FunctionBase* f) { return SignalBase::addCallback(f); }
    void* addCallback(FunctionBase* f, SignalClient& client)
    {
        return SignalBase::addCallback(f, client);
    }
    void* addCallback(void (*f)()) { return addCallback(new FunctionVoid(f)); }
    void* addCallback(void (*f)(), SignalClient& client)
    {
        return addCallback(new FunctionVoid(f), client);
    }
    template <class C>
    void* addCallback(C* object, void (C::*member)())
    {
        return addCallback(new FunctionVoidMember<C>(object, member));
    }
    template <class C>
    void* addCallback(C* object, void (C::*member)(), SignalClient& client)
    {
        return addCallback(new FunctionVoidMember<C>(object, member), client);
    }
    template <class F, class = std::enable_if_t<isWrappableCallable<F>>>
    void* addCallback(F&& f)
    {
        return addCallback(new FunctionVoidCallable<std::decay_t<F>>(std::forward<F>(f)));
    }
    template <class F, class = std::enable_if_t<isWrappableCallable<F>>>
    void* addCallback(F&& f, SignalClient& client)
    {
        return addCallback(new FunctionVoidCallable<std::decay_t<F>>(std::forward<F>(f)), client);
    }
    void* findGlobalCallback(void (*f)())
    {
        return SignalBase::findGlobalCallback(reinterpret_cast<void*>(f));
    }

    void emit()
    {
        emitEach([](FunctionBase* f) { (*f)(); });
    }
};

// An object whose end takes down every connection made with it: its destructor emits the
// client itself, and each signal that holds such connections removes them. Derive from it, or
// keep one as a member, in objects whose member functions are connected to signals.
class QV_BASE_API SignalClient : public Signal1Arg<SignalClient*> {
public:
    SignalClient() = default;
    ~SignalClient() override;
};

} // namespace qvRTB

#endif
