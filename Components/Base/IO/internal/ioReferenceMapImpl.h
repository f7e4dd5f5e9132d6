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
//
// Tables come from a small per-thread pool of earlier tables: a table of a few hundred thousand
// objects is megabytes of fresh memory, and on some systems the page faults of touching it cost
// more than all the lookups. The pool keeps at most two tables of up to poolLimit slots.
//
// A lookup that misses remembers where it stopped, so that binding the same object next (the
// writer's "no number yet, give it one") does not probe the table a second time.
class QV_BASE_API ioObjectNumbers {
public:
    ioObjectNumbers() = default;
    ioObjectNumbers(const ioObjectNumbers&) = delete;
    ioObjectNumbers& operator=(const ioObjectNumbers&) = delete;
    ~ioObjectNumbers();

    static constexpr std::size_t poolLimit = std::size_t(1) << 20;

    // The number of object, or 0 when it has none.
    int find(const void* object) const
    {
        if (slots.empty() || !object)
            return 0;
        for (std::size_t i = home(object);; i = (i + 1) & mask()) {
            const Slot& slot = slots[i];
            if (slot.object == object)
                return slot.number;
            if (!slot.object) {
                missed = object;
                missedAt = i;
                return 0;
            }
        }
    }
    // Binds a non-null object to number, replacing its previous number.
    void set(const void* object, int number);
    // Forgets object if it is bound to number.
    void erase(const void* object, int number);

private:
public:
    struct Slot {
        const void* object;
        int number;
    };

private:
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
    // The object of the last lookup that missed and the empty slot it stopped at; any change
    // to the table forgets it.
    mutable const void* missed = nullptr;
    mutable std::size_t missedAt = 0;
};

// Entries live in vectors indexed by number. A number at or past their end that is defined or
// waited for grows them to that number plus 20000, so numbering in steps of one rarely
// reallocates. Numbers far beyond what the file has used so far (a damaged or forged file) are
// kept in an ordered side map instead, so that one such number cannot cost gigabytes; they move
// into the vectors once these grow past them.
//
// An entry is split in three: a flag byte, the bound object and its definer. The flag bytes
// of a whole file fit in the processor's cache, so defining a number and registering a slot
// for a number not yet defined never wait for memory; only a backward reference, which needs
// the object, reads an 8-byte object pointer, from a vector half the size it would be with the
// definers beside the objects.
//
// Like the object table, the flag, object and definer vectors come from a per-thread pool of
// those of earlier maps, so saving or loading a large scene again does not fault in fresh pages.
// With the two object tables, a thread keeps at most (2 x 16 + 8 + 8 + 1) bytes for each of
// poolLimit entries, 49 MB, and only after maps of a million objects.
//
// Slots waiting for a number are kept in registration order and filled in one pass. Per-number
// lists of them are built only when something needs a number's own slots (a waited-for number
// redefined or removed, or the reports at the end); from then on they are kept up to date.
// Exported only so that the tests can check the growth rule; the header is not installed.
class QV_BASE_API ioReferenceMapImpl : public ioReferenceMap {
public:
    ioReferenceMapImpl();
    ~ioReferenceMapImpl() override;

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

    // Entries the vectors hold (for tests of the growth rule).
    std::size_t denseSize() const { return flags.size(); }
    std::size_t sparseSize() const { return farEntries.size(); }

    static constexpr int growth = 20000;
    // The vectors may always grow to this many entries; beyond, only in proportion to the
    // entries in use.
    static constexpr std::size_t denseFloor = 65536;
    static constexpr std::size_t densePerUsedEntry = 16;

private:
    enum Flag : uint8_t {
        defined = 1,
        known = 2,
        used = 4,   // only "never used" is reported
        waited = 8, // slots registered for the number may still be waiting
    };
    struct FarEntry {
        uint8_t flags;
        int32_t firstPending;
        void* object;
        ioPacketType* type;
    };
    // The parts of one entry, wherever it is kept. firstPending is null while lists are not kept.
    struct Entry {
        uint8_t* flags;
        void** object;       // the bound object, null when not defined
        ioPacketType** type; // its definer
        int32_t* firstPending;
        explicit operator bool() const { return flags != nullptr; }
    };
    // A slot waiting for its number; slot becomes null once it is filled.
    struct PendingSlot {
        void** slot;
        ioPacketType* type;
        int extra;
        int32_t number;
        int32_t next; // the slot registered before it for the same number, -1 when none
    };

    Entry find(int number)
    {
        size_t at = static_cast<size_t>(number);
        if (number >= 1 && at < flags.size())
            return Entry{&flags[at], &objects[at], &definers[at], listsKept ? &firstPending[at] : nullptr};
        return findFar(number);
    }
    Entry find(int number) const { return const_cast<ioReferenceMapImpl*>(this)->find(number); }
    Entry findFar(int number);
    // The entry of number (at least 1), made when missing.
    Entry entryFor(int number)
    {
        size_t at = static_cast<size_t>(number);
        if (at < flags.size())
            return Entry{&flags[at], &objects[at], &definers[at], listsKept ? &firstPending[at] : nullptr};
        return makeEntry(number);
    }
    Entry makeEntry(int number);
    // Builds the per-number lists of waiting slots; they are kept from then on.
    void keepLists();
    // Gives the object bound to number to every slot that waits for it.
    void fillPendingSlots(int number);
    // Enters the objects bound by define() into `numbers`, in the order they were bound.
    void indexDefinedObjects() const
    {
        if (!unindexed.empty())
            indexUnindexed();
    }
    void indexUnindexed() const;
    template <typename Visit> void forEachEntry(Visit visit);

    std::vector<uint8_t> flags;
    std::vector<void*> objects;
    std::vector<ioPacketType*> definers;
    std::vector<int32_t> firstPending; // empty until lists are kept
    std::map<int, FarEntry> farEntries;
    std::vector<PendingSlot> pendingSlots;
    std::size_t firstUnfilled; // pendingSlots before it are all filled
    bool listsKept;
    // Reading binds every object it reads but rarely asks for an object's number, so define()
    // only notes the pair and the table is built on the first question.
    mutable ioObjectNumbers numbers;
    mutable std::vector<std::pair<const void*, int>> unindexed;
    std::size_t usedEntries;
    int nextNumber;
};

#endif
