#include "internal/ioReferenceMapImpl.h"

#include "ioPacketType.h"

#include <algorithm>
#include <type_traits>

ioReferenceMap::~ioReferenceMap() {}

ioReferenceMap* ioReferenceMap::create()
{
    return new ioReferenceMapImpl();
}

void ioObjectNumbers::set(const void* object, int number)
{
    if (!object)
        return;
    if (int32_t* inRegion = regionNumber(object, true)) {
        *inRegion = number;
        return;
    }
    if (4 * (used + 1) > 3 * slots.size())
        rehash(slots.empty() ? 64 : 2 * slots.size());
    std::size_t i;
    if (object == missed) {
        i = missedAt; // where the probe for it ended, the table unchanged since
    } else {
        i = home(object);
        while (slots[i].object && slots[i].object != object)
            i = (i + 1) & mask();
    }
    missed = nullptr;
    if (!slots[i].object)
        ++used;
    slots[i] = Slot{object, number};
}

void ioObjectNumbers::erase(const void* object, int number)
{
    if (int32_t* inRegion = regionNumber(object, false)) {
        if (*inRegion == number)
            *inRegion = 0;
        return;
    }
    if (!regions.empty() && regionOf(object))
        return;
    if (slots.empty() || !object)
        return;
    std::size_t hole = home(object);
    while (slots[hole].object != object) {
        if (!slots[hole].object)
            return;
        hole = (hole + 1) & mask();
    }
    if (slots[hole].number != number)
        return;
    missed = nullptr;
    // Backward shift: later entries of the probe run move into the hole when their home slot
    // does not lie between the hole and where they are, so lookups never stop early.
    for (std::size_t i = (hole + 1) & mask(); slots[i].object; i = (i + 1) & mask()) {
        std::size_t from = home(slots[i].object);
        if (((i - from) & mask()) >= ((i - hole) & mask())) {
            slots[hole] = slots[i];
            hole = i;
        }
    }
    slots[hole] = Slot{nullptr, 0};
    --used;
}

void ioObjectNumbers::makeRegion(uintptr_t base, uintptr_t step)
{
    regions.push_back(Region{base, step, {}});
    regions.back().pieces.resize(regionPieces);
    Region* region = &regions.back();
    // The table's bindings of addresses the new region now has move into it; an address an
    // older region has stays there. The rest are entered again, so that no probe run has a gap.
    bool moved = false;
    for (Slot& slot : slots) {
        if (slot.object && regionOf(slot.object) == region) {
            *regionNumber(slot.object, true) = slot.number;
            slot = Slot{nullptr, 0};
            --used;
            moved = true;
        }
    }
    if (moved)
        rehash(slots.size());
    missed = nullptr;
}

namespace {

// Vectors that earlier maps of this thread no longer use, at most Count of a kind, each of at
// most limit elements: a map of the same size as an earlier one then reuses memory that is
// already touched instead of faulting in fresh pages.
template <typename T, int Count> struct SparePool {
    std::vector<T> spares[Count];

    // An empty vector with room for size elements when a spare has it (the smallest that
    // does), else an empty vector; size 0 asks for the largest spare.
    std::vector<T> take(std::size_t size)
    {
        std::vector<T>* best = nullptr;
        for (std::vector<T>& spare : spares) {
            const std::size_t room = spare.capacity();
            if (size == 0 ? !best || room > best->capacity()
                          : room >= size && (!best || room < best->capacity()))
                best = &spare;
        }
        std::vector<T> taken;
        if (best)
            taken.swap(*best);
        taken.clear();
        return taken;
    }
    void give(std::vector<T>& spent, std::size_t limit)
    {
        if (spent.capacity() > limit)
            return;
        std::vector<T>* smallest = &spares[0];
        for (std::vector<T>& spare : spares)
            if (spare.capacity() < smallest->capacity())
                smallest = &spare;
        if (spent.capacity() > smallest->capacity())
            smallest->swap(spent);
    }
};

// Two object tables, so that growing a table can take the one before last; one of the others.
template <typename T> constexpr int sparesKept = std::is_same<T, ioObjectNumbers::Slot>::value ? 2 : 1;

template <typename T> SparePool<T, sparesKept<T>>& sparePool()
{
    static thread_local SparePool<T, sparesKept<T>> pool;
    return pool;
}

} // namespace

ioObjectNumbers::~ioObjectNumbers()
{
    sparePool<Slot>().give(slots, poolLimit);
}

void ioObjectNumbers::rehash(std::size_t size)
{
    std::vector<Slot> old = sparePool<Slot>().take(size);
    old.swap(slots);
    slots.assign(size, Slot{nullptr, 0});
    missed = nullptr;
    shift = 64;
    for (std::size_t s = size; s > 1; s >>= 1)
        --shift;
    // With the top bits of the hash as the home slot, the old table's order is (nearly) the new
    // table's order: the inserts walk through it instead of jumping about.
    used = 0;
    for (const Slot& slot : old) {
        if (!slot.object)
            continue;
        std::size_t i = home(slot.object);
        while (slots[i].object)
            i = (i + 1) & mask();
        slots[i] = slot;
        ++used;
    }
    sparePool<Slot>().give(old, poolLimit);
}

ioReferenceMapImpl::ioReferenceMapImpl()
    : flags(sparePool<uint8_t>().take(0)), objects(sparePool<void*>().take(0)),
      definers(sparePool<ioPacketType*>().take(0)), firstUnfilled(0),
      listsKept(false), usedEntries(0), nextNumber(1)
{
}

ioReferenceMapImpl::~ioReferenceMapImpl()
{
    sparePool<uint8_t>().give(flags, ioObjectNumbers::poolLimit);
    sparePool<void*>().give(objects, ioObjectNumbers::poolLimit);
    sparePool<ioPacketType*>().give(definers, ioObjectNumbers::poolLimit);
}

int ioReferenceMapImpl::referenceOf(const void* object) const
{
    indexDefinedObjects();
    return numbers.find(object);
}

int ioReferenceMapImpl::newReference(const void* object)
{
    // Numbers the writer took explicitly are not free: giving one of them away as well would
    // define it twice, and the file would link the wrong objects.
    for (Entry taken = find(nextNumber); taken && (*taken.flags & known); taken = find(nextNumber))
        ++nextNumber;
    int number = nextNumber++;
    indexDefinedObjects();
    numbers.set(object, number);
    return number;
}

ioReferenceMapImpl::Entry ioReferenceMapImpl::findFar(int number)
{
    auto it = number < 1 ? farEntries.end() : farEntries.find(number);
    if (it == farEntries.end())
        return Entry{nullptr, nullptr, nullptr, nullptr};
    FarEntry& far = it->second;
    return Entry{&far.flags, &far.object, &far.type, listsKept ? &far.firstPending : nullptr};
}

ioReferenceMapImpl::Entry ioReferenceMapImpl::makeEntry(int number)
{
    if (Entry entry = findFar(number))
        return entry;
    ++usedEntries;
    size_t wanted = static_cast<size_t>(number) + growth;
    size_t allowed = usedEntries * densePerUsedEntry;
    if (allowed < denseFloor)
        allowed = denseFloor;
    if (wanted > allowed) {
        farEntries[number] = FarEntry{0, -1, nullptr, nullptr};
        return find(number);
    }
    flags.resize(wanted, 0);
    objects.resize(wanted, nullptr);
    definers.resize(wanted, nullptr);
    if (listsKept)
        firstPending.resize(wanted, -1);
    // Far entries that the vectors now cover move into them.
    while (!farEntries.empty() && static_cast<size_t>(farEntries.begin()->first) < wanted) {
        size_t at = static_cast<size_t>(farEntries.begin()->first);
        const FarEntry& far = farEntries.begin()->second;
        flags[at] = far.flags;
        objects[at] = far.object;
        definers[at] = far.type;
        if (listsKept)
            firstPending[at] = far.firstPending;
        farEntries.erase(farEntries.begin());
    }
    return find(number);
}

void ioReferenceMapImpl::indexUnindexed() const
{
    for (const auto& bound : unindexed)
        numbers.set(bound.first, bound.second);
    unindexed.clear();
}

void ioReferenceMapImpl::keepLists()
{
    if (listsKept)
        return;
    listsKept = true;
    firstPending.assign(flags.size(), -1);
    for (auto& far : farEntries)
        far.second.firstPending = -1;
    // Every slot before firstUnfilled is filled; the rest join their number's list in order.
    for (size_t i = firstUnfilled; i < pendingSlots.size(); ++i) {
        PendingSlot& pending = pendingSlots[i];
        if (!pending.slot)
            continue;
        Entry entry = find(pending.number);
        pending.next = *entry.firstPending;
        *entry.firstPending = static_cast<int32_t>(i);
    }
}

void ioReferenceMapImpl::fillPendingSlots(int number)
{
    keepLists();
    Entry entry = find(number);
    for (int32_t i = *entry.firstPending; i >= 0; i = pendingSlots[static_cast<size_t>(i)].next) {
        PendingSlot& pending = pendingSlots[static_cast<size_t>(i)];
        *pending.slot = *entry.object;
        pending.slot = nullptr;
    }
    *entry.flags = static_cast<uint8_t>((*entry.flags | used) & ~waited);
    *entry.firstPending = -1;
}

void ioReferenceMapImpl::fillDefinedSlots()
{
    // One pass in registration order: the stores into the waiting objects are independent of
    // each other, so the processor overlaps their cache misses.
    size_t firstWaiting = pendingSlots.size();
    for (size_t i = firstUnfilled; i < pendingSlots.size(); ++i) {
        PendingSlot& pending = pendingSlots[i];
        if (!pending.slot)
            continue;
        Entry entry = find(pending.number);
        if (!entry || !(*entry.flags & defined)) {
            firstWaiting = std::min(firstWaiting, i);
            continue;
        }
        *pending.slot = *entry.object;
        pending.slot = nullptr;
        // Every slot of a defined number is filled in this pass: the list is done.
        *entry.flags = static_cast<uint8_t>((*entry.flags | used) & ~waited);
        if (entry.firstPending)
            *entry.firstPending = -1;
    }
    firstUnfilled = firstWaiting;
}

void ioReferenceMapImpl::define(int number, void* object, ioPacketType* type, bool synonym)
{
    if (number < 1)
        return;
    Entry entry = entryFor(number);
    if (object)
        unindexed.emplace_back(object, number);
    uint8_t state = *entry.flags | known;
    if (synonym && (state & defined)) {
        *entry.flags = state;
        return;
    }
    // A redefinition: the slots that waited for the first binding get it.
    if ((state & (defined | waited)) == (defined | waited)) {
        fillPendingSlots(number);
        entry = find(number);
        state = *entry.flags;
    }
    *entry.flags = state | defined;
    *entry.object = object;
    *entry.type = type;
}

void ioReferenceMapImpl::undefine(int number)
{
    Entry entry = find(number);
    if (!entry || !(*entry.flags & defined))
        return;
    if (*entry.flags & waited) {
        fillPendingSlots(number);
        entry = find(number);
    }
    indexDefinedObjects();
    numbers.erase(*entry.object, number);
    *entry.flags = static_cast<uint8_t>(*entry.flags & ~defined);
    *entry.object = nullptr;
}

bool ioReferenceMapImpl::isDefined(int number) const
{
    Entry entry = find(number);
    return entry && (*entry.flags & defined);
}

void* ioReferenceMapImpl::objectOf(int number) const
{
    Entry entry = find(number);
    return entry && (*entry.flags & defined) ? *entry.object : nullptr;
}

void ioReferenceMapImpl::use(int number, ioPacketType*)
{
    if (number < 1)
        return;
    Entry entry = entryFor(number);
    *entry.flags |= known | used;
}

void ioReferenceMapImpl::addPendingSlot(int number, void** slot, ioPacketType* type, int extra)
{
    *slot = nullptr;
    if (number < 1)
        return;
    Entry entry = entryFor(number);
    uint8_t state = *entry.flags | known;
    if (state & defined) {
        *slot = *entry.object;
        *entry.flags = state | used;
        return;
    }
    *entry.flags = state | waited;
    int32_t next = -1;
    if (entry.firstPending) {
        next = *entry.firstPending;
        *entry.firstPending = static_cast<int32_t>(pendingSlots.size());
    }
    pendingSlots.push_back(PendingSlot{slot, type, extra, number, next});
}

template <typename Visit> void ioReferenceMapImpl::forEachEntry(Visit visit)
{
    keepLists();
    for (size_t number = 1; number < flags.size(); ++number)
        visit(Entry{&flags[number], &objects[number], &definers[number], &firstPending[number]});
    for (auto& far : farEntries)
        visit(Entry{&far.second.flags, &far.second.object, &far.second.type, &far.second.firstPending});
}

void ioReferenceMapImpl::reportRemaining(ioClientReadContext& client)
{
    fillDefinedSlots();
    forEachEntry([&](Entry entry) {
        // Slots were added at the head of the list: report them in the order they were added.
        std::vector<int32_t> waiting;
        for (int32_t i = *entry.firstPending; i >= 0; i = pendingSlots[static_cast<size_t>(i)].next)
            waiting.push_back(i);
        for (auto it = waiting.rbegin(); it != waiting.rend(); ++it) {
            PendingSlot& pending = pendingSlots[static_cast<size_t>(*it)];
            if (pending.type)
                pending.type->handleUnresolvedPtr(client, pending.slot, pending.extra);
        }
        for (int32_t i : waiting)
            pendingSlots[static_cast<size_t>(i)].slot = nullptr;
        *entry.firstPending = -1;
        *entry.flags = static_cast<uint8_t>(*entry.flags & ~waited);
        if ((*entry.flags & (defined | used)) == defined && *entry.type)
            (*entry.type)->handleUnreferencedMemory(client, *entry.object);
    });
}

void ioReferenceMapImpl::reportUnresolved(ioPacketType* type, void (*function)(void*, int))
{
    fillDefinedSlots();
    forEachEntry([&](Entry entry) {
        for (int32_t i = *entry.firstPending; i >= 0; i = pendingSlots[static_cast<size_t>(i)].next) {
            const PendingSlot& pending = pendingSlots[static_cast<size_t>(i)];
            if (!type || pending.type == type)
                function(pending.slot, pending.extra);
        }
    });
}
