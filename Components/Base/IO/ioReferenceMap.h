#ifndef IOREFERENCEMAP_H
#define IOREFERENCEMAP_H

#include "qvBaseExport.h"

class ioClientReadContext;
class ioPacketType;

// The numbers by which packets refer to each other's objects, owned by a context. Numbers start
// at 1; 0 means "no reference". Writing gives each object a number on first sight; reading binds
// numbers to the objects read, counts their uses, and keeps pointer slots that wait for numbers
// not yet defined (forward references) until the number is defined or the file ends.
class QV_BASE_API ioReferenceMap {
public:
    virtual ~ioReferenceMap();

    // The number of an object, or 0 when it has none.
    virtual int referenceOf(const void* object) const = 0;
    // Gives an object the next free number.
    virtual int newReference(const void* object) = 0;
    // Binds number to object, defined by a packet of type. A synonym binds a further object
    // to a number that keeps its first object. Waiting pointer slots are filled.
    virtual void define(int number, void* object, ioPacketType* type, bool synonym) = 0;
    virtual void undefine(int number) = 0;
    virtual bool isDefined(int number) const = 0;
    // The object bound to number, or null (also for numbers below 1 or never seen).
    virtual void* objectOf(int number) const = 0;
    // One use of number by a packet of type.
    virtual void use(int number, ioPacketType* type) = 0;
    // Sets *slot to null, then to the object of number as soon as it is defined (at once when it
    // already is). Number 0 does nothing more.
    virtual void addPendingSlot(int number, void** slot, ioPacketType* type, int extra) = 0;
    // From number 1 upward: each slot still waiting goes to its type's handleUnresolvedPtr,
    // each defined object never used to its definer's handleUnreferencedMemory.
    virtual void reportRemaining(ioClientReadContext& client) = 0;
    // Calls function(slot, extra) for each slot still waiting that type registered (every type
    // when type is null).
    virtual void reportUnresolved(ioPacketType* type, void (*function)(void*, int)) = 0;

    static ioReferenceMap* create();
};

#endif
