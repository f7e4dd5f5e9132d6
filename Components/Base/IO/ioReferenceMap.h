#ifndef IOREFERENCEMAP_H
#define IOREFERENCEMAP_H

#include "qvBaseExport.h"

class ioClientReadContext;
class ioPacketType;

// The numbers by which packets refer to each other's objects, owned by a context. Numbers start
// at 1; 0 means "no reference". Writing gives each object a number on first sight; reading binds
// numbers to the objects read, counts their uses, and keeps pointer slots that wait for numbers
// not yet defined (forward references).
//
// Waiting slots are filled in one pass when reading ends (readFile does it however it ends), not
// each time a number is defined: filling them one by one writes into objects read long before,
// which costs a cache miss per forward reference. A slot must therefore stay valid until
// readFile returns, as it must anyway for the report of unresolved slots.
class QV_BASE_API ioReferenceMap {
public:
    virtual ~ioReferenceMap();

    // The number of an object, or 0 when it has none.
    virtual int referenceOf(const void* object) const = 0;
    // Gives an object the next free number: one that no define() or use() has taken.
    virtual int newReference(const void* object) = 0;
    // Binds number to object, defined by a packet of type. A synonym binds a further object
    // to a number that keeps its first object. Slots that waited for an earlier binding of the
    // number get that earlier object.
    virtual void define(int number, void* object, ioPacketType* type, bool synonym) = 0;
    virtual void undefine(int number) = 0;
    virtual bool isDefined(int number) const = 0;
    // The object bound to number, or null (also for numbers below 1 or never seen).
    virtual void* objectOf(int number) const = 0;
    // One use of number by a packet of type.
    virtual void use(int number, ioPacketType* type) = 0;
    // Sets *slot to the object of number when it is defined, else to null and keeps the slot
    // waiting for the number. Number 0 does nothing more.
    virtual void addPendingSlot(int number, void** slot, ioPacketType* type, int extra) = 0;
    // From number 1 upward: each slot still waiting goes to its type's handleUnresolvedPtr,
    // each defined object never used to its definer's handleUnreferencedMemory.
    virtual void reportRemaining(ioClientReadContext& client) = 0;
    // Calls function(slot, extra) for each slot still waiting that type registered (every type
    // when type is null).
    virtual void reportUnresolved(ioPacketType* type, void (*function)(void*, int)) = 0;
    // Fills every waiting slot whose number is defined now. The reports above do this first.
    virtual void fillDefinedSlots() = 0;

    static ioReferenceMap* create();
};

#endif
