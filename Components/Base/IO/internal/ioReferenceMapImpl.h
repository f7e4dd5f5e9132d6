#ifndef IO_INTERNAL_REFERENCEMAPIMPL_H
#define IO_INTERNAL_REFERENCEMAPIMPL_H

#include "ioReferenceMap.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

// Object addresses to reference numbers: open addressing with linear probing over a table whose
// size is a power of two, at most three quarters full. Unlike a node-based map it allocates only
// when it doubles, which matters because every object written is looked up at each reference.
class ioObjectNumbers {
public:
    // The number of object, or 0 when it has none.
    int find(const void* object) const
    {
        if (slots.empty() || !object)
            return 0;
        for (std::size_t i = home(object);; i = (i + 1) & mask()) {
            const Slot& slot = slots[i];
            if (slot.object == object)
                return slot.number;
            if (!slot.object)
                return 0;
        }
    }
    // Binds a non-null object to number, replacing its previous number.
    void set(const void* object, int number);
    // Forgets object if it is bound to number.
    void erase(const void* object, int number);

private:
    struct Slot {
        const void* object;
        int number;
    };
    std::size_t mask() const { return slots.size() - 1; }
    std::size_t home(const void* object) const
    {
        // Fibonacci hashing: the top bits of the product spread aligned addresses evenly.
        uint64_t bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(object));
        return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15ull) >> shift);
    }
    void rehash(std::size_t size);

    std::vector<Slot> slots;
    std::size_t used = 0;
    int shift = 64;
};

// Entries live in a vector indexed by number. A number at or past its end that is defined or
// waited for grows the vector to that number plus 20000, so numbering in steps of one rarely
// reallocates. Numbers far beyond what the file has used so far (a damaged or forged file) are
// kept in an ordered side map instead, so that one such number cannot cost gigabytes; they move
// into the vector once it grows past them.
// Exported only so that the tests can check the growth rule; the header is not installed.
class QV_BASE_API ioReferenceMapImpl : public ioReferenceMap {
public:
    ioReferenceMapImpl();

    int referenceOf(const void* object) const override;
    int newReference(const void* object) override;
    void define(int number, void* object, ioPacketType* type, bool synonym) override;
    void undefine(int number) override;
    bool isDefined(int number) const override;
    void* objectOf(int number) const override;
    void use(int number, ioPacketType* type) override;
    void addPendingSlot(int number, void** slot, ioPacketType* type, int extra) override;
    void reportRemaining(ioClientReadContext& client) override;
    void reportUnresolved(ioPacketType* type, void (*function)(void*, int)) override;
    void fillDefinedSlots() override;

    // Entries the vector holds (for tests of the growth rule).
    std::size_t denseSize() const { return entries.size(); }
    std::size_t sparseSize() const { return farEntries.size(); }

    static constexpr int growth = 20000;
    // The vector may always grow to this many entries; beyond, only in proportion to the
    // entries in use.
    static constexpr std::size_t denseFloor = 65536;
    static constexpr std::size_t densePerUsedEntry = 16;

private:
    // Flags are whole bytes, not bits, so that setting one is a plain store: writing a file
    // marks entries all over the vector and need not wait for each to be loaded.
    struct Entry {
        bool defined;
        bool known;
        bool used;            // only "never used" is reported
        int32_t firstPending; // index into pendingSlots of the latest waiting slot, -1 when none
        void* object;         // the bound object, null when not defined
        ioPacketType* type;   // the definer
    };
    static constexpr Entry emptyEntry = {false, false, false, -1, nullptr, nullptr};
    // A slot waiting for its number; slot becomes null once it is filled.
    struct PendingSlot {
        void** slot;
        ioPacketType* type;
        int extra;
        int32_t number;
        int32_t next; // the slot registered before it for the same number, -1 when none
    };

    Entry* find(int number);
    const Entry* find(int number) const;
    // The entry of number (at least 1), made when missing.
    Entry& entryFor(int number);
    // Gives the entry's object to every slot that waits for it.
    void fillPendingSlots(Entry& entry);
    // Enters the objects bound by define() into `numbers`, in the order they were bound.
    void indexDefinedObjects() const;
    template <typename Visit> void forEachEntry(Visit visit);

    std::vector<Entry> entries;
    std::map<int, Entry> farEntries;
    std::vector<PendingSlot> pendingSlots;
    std::size_t firstUnfilled; // pendingSlots before it are all filled
    // Reading binds every object it reads but rarely asks for an object's number, so define()
    // only notes the pair and the table is built on the first question.
    mutable ioObjectNumbers numbers;
    mutable std::vector<std::pair<const void*, int>> unindexed;
    std::size_t usedEntries;
    int nextNumber;
};

#endif
