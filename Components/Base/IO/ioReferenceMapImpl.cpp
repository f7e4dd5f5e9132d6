#include "internal/ioReferenceMapImpl.h"

#include "ioPacketType.h"

#include <algorithm>

ioReferenceMap::~ioReferenceMap() {}

ioReferenceMap* ioReferenceMap::create()
{
    return new ioReferenceMapImpl();
}

void ioObjectNumbers::set(const void* object, int number)
{
    if (!object)
        return;
    if (4 * (used + 1) > 3 * slots.size())
        rehash(slots.empty() ? 64 : 2 * slots.size());
    std::size_t i = home(object);
    while (slots[i].object && slots[i].object != object)
        i = (i + 1) & mask();
    if (!slots[i].object)
        ++used;
    slots[i] = Slot{object, number};
}

void ioObjectNumbers::erase(const void* object, int number)
{
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

void ioObjectNumbers::rehash(std::size_t size)
{
    std::vector<Slot> old(size, Slot{nullptr, 0});
    old.swap(slots);
    shift = 64;
    for (std::size_t s = size; s > 1; s >>= 1)
        --shift;
    used = 0;
    for (const Slot& slot : old)
        if (slot.object)
            set(slot.object, slot.number);
}

ioReferenceMapImpl::ioReferenceMapImpl() : firstUnfilled(0), usedEntries(0), nextNumber(1) {}

int ioReferenceMapImpl::referenceOf(const void* object) const
{
    indexDefinedObjects();
    return numbers.find(object);
}

int ioReferenceMapImpl::newReference(const void* object)
{
    int number = nextNumber++;
    indexDefinedObjects();
    numbers.set(object, number);
    return number;
}

ioReferenceMapImpl::Entry* ioReferenceMapImpl::find(int number)
{
    if (number < 1)
        return nullptr;
    if (static_cast<size_t>(number) < entries.size())
        return &entries[static_cast<size_t>(number)];
    auto it = farEntries.find(number);
    return it == farEntries.end() ? nullptr : &it->second;
}

const ioReferenceMapImpl::Entry* ioReferenceMapImpl::find(int number) const
{
    return const_cast<ioReferenceMapImpl*>(this)->find(number);
}

ioReferenceMapImpl::Entry& ioReferenceMapImpl::entryFor(int number)
{
    if (Entry* entry = find(number))
        return *entry;
    ++usedEntries;
    size_t wanted = static_cast<size_t>(number) + growth;
    size_t allowed = usedEntries * densePerUsedEntry;
    if (allowed < denseFloor)
        allowed = denseFloor;
    if (wanted > allowed) {
        Entry& far = farEntries[number];
        far = emptyEntry;
        return far;
    }
    entries.resize(wanted, emptyEntry);
    // Far entries that the vector now covers move into it.
    while (!farEntries.empty() && static_cast<size_t>(farEntries.begin()->first) < wanted) {
        entries[static_cast<size_t>(farEntries.begin()->first)] = farEntries.begin()->second;
        farEntries.erase(farEntries.begin());
    }
    return entries[static_cast<size_t>(number)];
}

void ioReferenceMapImpl::indexDefinedObjects() const
{
    for (const auto& bound : unindexed)
        numbers.set(bound.first, bound.second);
    unindexed.clear();
}

void ioReferenceMapImpl::fillPendingSlots(Entry& entry)
{
    for (int32_t i = entry.firstPending; i >= 0; i = pendingSlots[static_cast<size_t>(i)].next) {
        PendingSlot& pending = pendingSlots[static_cast<size_t>(i)];
        *pending.slot = entry.object;
        pending.slot = nullptr;
    }
    entry.used = true;
    entry.firstPending = -1;
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
        Entry* entry = find(pending.number);
        if (!entry || !entry->defined) {
            firstWaiting = std::min(firstWaiting, i);
            continue;
        }
        *pending.slot = entry->object;
        pending.slot = nullptr;
        // Every slot of a defined number is filled in this pass: the list is done.
        entry->used = true;
        entry->firstPending = -1;
    }
    firstUnfilled = firstWaiting;
}

void ioReferenceMapImpl::define(int number, void* object, ioPacketType* type, bool synonym)
{
    if (number < 1)
        return;
    Entry& entry = entryFor(number);
    if (object)
        unindexed.emplace_back(object, number);
    entry.known = true;
    if (synonym && entry.defined)
        return;
    // A redefinition: the slots that waited for the first binding get it. Writing never has
    // waiting slots; not looking at the entry there saves a cache miss per packet.
    if (!pendingSlots.empty() && entry.defined && entry.firstPending >= 0)
        fillPendingSlots(entry);
    entry.defined = true;
    entry.object = object;
    entry.type = type;
}

void ioReferenceMapImpl::undefine(int number)
{
    Entry* entry = find(number);
    if (!entry || !entry->defined)
        return;
    if (entry->firstPending >= 0)
        fillPendingSlots(*entry);
    indexDefinedObjects();
    numbers.erase(entry->object, number);
    entry->defined = false;
    entry->object = nullptr;
}

bool ioReferenceMapImpl::isDefined(int number) const
{
    const Entry* entry = find(number);
    return entry && entry->defined;
}

void* ioReferenceMapImpl::objectOf(int number) const
{
    const Entry* entry = find(number);
    return entry && entry->defined ? entry->object : nullptr;
}

void ioReferenceMapImpl::use(int number, ioPacketType*)
{
    if (number < 1)
        return;
    Entry& entry = entryFor(number);
    entry.known = true;
    entry.used = true;
}

void ioReferenceMapImpl::addPendingSlot(int number, void** slot, ioPacketType* type, int extra)
{
    *slot = nullptr;
    if (number < 1)
        return;
    Entry& entry = entryFor(number);
    entry.known = true;
    if (entry.defined) {
        *slot = entry.object;
        entry.used = true;
        return;
    }
    pendingSlots.push_back(PendingSlot{slot, type, extra, number, entry.firstPending});
    entry.firstPending = static_cast<int32_t>(pendingSlots.size() - 1);
}

template <typename Visit> void ioReferenceMapImpl::forEachEntry(Visit visit)
{
    for (size_t number = 1; number < entries.size(); ++number)
        visit(entries[number]);
    for (auto& far : farEntries)
        visit(far.second);
}

void ioReferenceMapImpl::reportRemaining(ioClientReadContext& client)
{
    fillDefinedSlots();
    forEachEntry([&](Entry& entry) {
        // Slots were added at the head of the list: report them in the order they were added.
        std::vector<int32_t> waiting;
        for (int32_t i = entry.firstPending; i >= 0; i = pendingSlots[static_cast<size_t>(i)].next)
            waiting.push_back(i);
        for (auto it = waiting.rbegin(); it != waiting.rend(); ++it) {
            PendingSlot& pending = pendingSlots[static_cast<size_t>(*it)];
            if (pending.type)
                pending.type->handleUnresolvedPtr(client, pending.slot, pending.extra);
        }
        for (int32_t i : waiting)
            pendingSlots[static_cast<size_t>(i)].slot = nullptr;
        entry.firstPending = -1;
        if (entry.defined && !entry.used && entry.type)
            entry.type->handleUnreferencedMemory(client, entry.object);
    });
}

void ioReferenceMapImpl::reportUnresolved(ioPacketType* type, void (*function)(void*, int))
{
    fillDefinedSlots();
    forEachEntry([&](Entry& entry) {
        for (int32_t i = entry.firstPending; i >= 0; i = pendingSlots[static_cast<size_t>(i)].next) {
            const PendingSlot& pending = pendingSlots[static_cast<size_t>(i)];
            if (!type || pending.type == type)
                function(pending.slot, pending.extra);
        }
    });
}
