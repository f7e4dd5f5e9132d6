#ifndef QVRTB_FUNCTION_H
#define QVRTB_FUNCTION_H

#include "qvBaseExport.h"

#include <type_traits>
#include <utility>

namespace qvRTB {

// A function object owned by a signal connection. Signals of every arity keep their connections
// as FunctionBase pointers; each typed signal only accepts the function objects of its own
// argument list, so the typed call below always meets the arguments it expects.
class QV_BASE_API FunctionBase {
public:
    virtual ~FunctionBase();
    // True when this object stands for `key` (the address of a free function, say); lets a
    // connection be found again without its handle. Member-function objects never match.
    virtual bool matches(void* key) const;
    // The call without arguments, made by SignalVoid. Does nothing unless overridden.
    virtual void operator()();
};

// Function objects that take one argument of type T; Signal1Arg<T> calls these.
template <class T>
class FunctionArgBase : public FunctionBase {
public:
    using FunctionBase::operator();
    virtual void operator()(T argument) = 0;
};

// A free function of one argument.
template <class T>
class FunctionArg : public FunctionArgBase<T> {
public:
    using Function = void (*)(T);
    explicit FunctionArg(Function f) : function(f) {}

    bool matches(void* key) const override { return reinterpret_cast<void*>(function) == key; }
    using FunctionArgBase<T>::operator();
    void operator()(T argument) override { function(argument); }

private:
    Function function;
};

// A member function of C taking one argument, called on one object.
template <class T, class C>
class FunctionArgMember : public FunctionArgBase<T> {
public:
    using Member = void (C::*)(T);
    FunctionArgMember(C* o, Member m) : object(o), member(m) {}

    using FunctionArgBase<T>::operator();
    void operator()(T argument) override { (object->*member)(argument); }

private:
    C* object;
    Member member;
};

// Function objects of three arguments; Signal3Args<A1, A2, A3> calls these.
template <class A1, class A2, class A3>
class Function3ArgsBase : public FunctionBase {
public:
    using FunctionBase::operator();
    virtual void operator()(A1 a1, A2 a2, A3 a3) = 0;
};

template <class A1, class A2, class A3>
class Function3Args : public Function3ArgsBase<A1, A2, A3> {
public:
    using Function = void (*)(A1, A2, A3);
    explicit Function3Args(Function f) : function(f) {}

    bool matches(void* key) const override { return reinterpret_cast<void*>(function) == key; }
    using Function3ArgsBase<A1, A2, A3>::operator();
    void operator()(A1 a1, A2 a2, A3 a3) override { function(a1, a2, a3); }

private:
    Function function;
};

template <class A1, class A2, class A3, class C>
class Function3ArgsMember : public Function3ArgsBase<A1, A2, A3> {
public:
    using Member = void (C::*)(A1, A2, A3);
    Function3ArgsMember(C* o, Member m) : object(o), member(m) {}

    using Function3ArgsBase<A1, A2, A3>::operator();
    void operator()(A1 a1, A2 a2, A3 a3) override { (object->*member)(a1, a2, a3); }

private:
    C* object;
    Member member;
};

// A free function without arguments.
class FunctionVoid : public FunctionBase {
public:
    using Function = void (*)();
    explicit FunctionVoid(Function f) : function(f) {}

    bool matches(void* key) const override { return reinterpret_cast<void*>(function) == key; }
    void operator()() override { function(); }

private:
    Function function;
};

// A member function without arguments, called on one object.
template <class C>
class FunctionVoidMember : public FunctionBase {
public:
    using Member = void (C::*)();
    FunctionVoidMember(C* o, Member m) : object(o), member(m) {}

    void operator()() override { (object->*member)(); }

private:
    C* object;
    Member member;
};

// Any callable object (a capturing lambda, a bound std::function) held by value, for signals
// of one argument, of three, or of none. Its key never matches: find it by its handle.
template <class T, class F>
class FunctionArgCallable : public FunctionArgBase<T> {
public:
    explicit FunctionArgCallable(F f) : callable(std::move(f)) {}

    using FunctionArgBase<T>::operator();
    void operator()(T argument) override { callable(argument); }

private:
    F callable;
};

template <class A1, class A2, class A3, class F>
class Function3ArgsCallable : public Function3ArgsBase<A1, A2, A3> {
public:
    explicit Function3ArgsCallable(F f) : callable(std::move(f)) {}

    using Function3ArgsBase<A1, A2, A3>::operator();
    void operator()(A1 a1, A2 a2, A3 a3) override { callable(a1, a2, a3); }

private:
    F callable;
};

template <class F>
class FunctionVoidCallable : public FunctionBase {
public:
    explicit FunctionVoidCallable(F f) : callable(std::move(f)) {}

    void operator()() override { callable(); }

private:
    F callable;
};

// Whether F is a callable to wrap: callable with Args, and not a function object of the library
// (those are connected as they are).
template <class F, class... Args>
constexpr bool isWrappableCallable =
    std::is_invocable_v<F&, Args...> &&
    !std::is_convertible_v<std::decay_t<F>, const FunctionBase*>;

} // namespace qvRTB

#endif
