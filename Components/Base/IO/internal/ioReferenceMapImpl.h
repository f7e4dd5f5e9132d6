#ifndef IO_INTERNAL_REFERENCEMAPIMPL_H
#define IO_INTERNAL_REFERENCEMAPIMPL_H

#include "ioReferenceMap.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
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
//
// Arrays of objects: a table of a few hundred thousand objects is larger than the processor's
// cache, and every lookup at random (a reference to any object of the scene) then waits for
// memory. When lookups walk through memory at a constant step, as they do when the packets of
// an array's elements are written in order, the addresses base + k * step from there on get
// their numbers from a region instead: an array of numbers indexed by k, 4 bytes per element,
// made in pieces as they are touched. An address belongs to the first region whose elements
// include it, else to the table; the bindings a new region takes over move out of the table
// when it is made. Which structure holds a binding never changes a number.
class QV_BASE_API ioObjectNumbers {
public:
    ioObjectNumbers() = default;
    ioObjectNumbers(const ioObjectNumbers&) = delete;
    ioObjectNumbers& operator=(const ioObjectNumbers&) = delete;
    ~ioObjectNumbers();

    static constexpr std::size_t poolLimit = std::size_t(1) << 20;
    // Lookups in a row at one step before a region is made, the most regions, the largest step,
    // and the elements a region covers: 4096 pieces of 1024, 4 M elements. A region costs its
    // 32 KB piece directory and 4 KB per piece touched, at most 16 MB: an array that goes on
    // past it makes a further region as its walk goes on.
    static constexpr int regionStreak = 16;
    static constexpr std::size_t maxRegions = 4;
    static constexpr uintptr_t maxRegionStep = uintptr_t(1) << 20;
    static constexpr std::size_t pieceBits = 10;
    static constexpr std::size_t regionPieces = 4096;

    // The number of object, or 0 when it has none.
    int find(const void* object)
    {
        if (!object)
            return 0;
        if (!regions.empty() && regionOf(object)) {
            const int32_t* number = regionNumber(object, false);
            return number ? *number : 0;
        }
        if (notice(reinterpret_cast<uintptr_t>(object)))
            return find(object); // a region made just now may have taken it over
        if (slots.empty())
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
    std::size_t regionCount() const { return regions.size(); }

    struct Slot {
        const void* object;
        int number;
    };

private:
    struct Region {
        uintptr_t base;
        uintptr_t step;
        std::vector<std::unique_ptr<int32_t[]>> pieces; // regionPieces, each made when touched
    };
    // Where lookups last went on at one step; two, so that references to other objects between
    // an array's elements do not break its run.
    struct Run {
        uintptr_t last = 0;
        uintptr_t step = 0;
        int streak = 0;
        uint64_t lastUse = 0;
    };

    std::size_t mask() const { return slots.size() - 1; }
    std::size_t home(const void* object) const
    {
        // Fibonacci hashing: the top bits of the product spread aligned addresses evenly.
        uint64_t bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(object));
        return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15ull) >> shift);
    }
    void rehash(std::size_t size);
    // The region whose elements include object, or null; its element index goes to *index.
    Region* regionOf(const void* object, std::size_t* index = nullptr)
    {
        const uintptr_t address = reinterpret_cast<uintptr_t>(object);
        for (Region& region : regions) {
            const uintptr_t offset = address - region.base; // wraps for addresses below base
            const uintptr_t k = offset / region.step;
            if (k < (regionPieces << pieceBits) && k * region.step == offset) {
                if (index)
                    *index = static_cast<std::size_t>(k);
                return &region;
            }
        }
        return nullptr;
    }
    // The number slot of object in its region, or null when no region includes it or (unless
    // make) its piece is not made yet.
    int32_t* regionNumber(const void* object, bool make)
    {
        std::size_t k = 0;
        Region* region = regions.empty() ? nullptr : regionOf(object, &k);
        if (!region)
            return nullptr;
        std::unique_ptr<int32_t[]>& piece = region->pieces[k >> pieceBits];
        if (!piece && make)
            piece.reset(new int32_t[std::size_t(1) << pieceBits]());
        return piece ? &piece[k & ((std::size_t(1) << pieceBits) - 1)] : nullptr;
    }
    // Follows the runs of lookups; a run long enough becomes a region (then returns true).
    bool notice(uintptr_t address)
    {
        ++lookups;
        for (Run& run : runs) {
            if (run.step != 0 && address - run.last == run.step) {
                run.last = address;
                run.lastUse = lookups;
                if (++run.streak != regionStreak || regions.size() >= maxRegions)
                    return false;
                makeRegion(address - run.step * regionStreak, run.step);
                return true;
            }
        }
        // A new run starts where the weaker run was (the one used longest ago among equals).
        Run& weak = runs[0].streak != runs[1].streak ? runs[runs[0].streak < runs[1].streak ? 0 : 1]
                                                     : runs[runs[0].lastUse < runs[1].lastUse ? 0 : 1];
        const uintptr_t step = address - weak.last;
        weak.step = step != 0 && step <= maxRegionStep ? step : 0;
        weak.last = address;
        weak.streak = 0;
        weak.lastUse = lookups;
        return false;
    }
    void makeRegion(uintptr_t base, uintptr_t step);

    std::vector<Slot> slots;
    std::size_t used = 0;
    int shift = 64;
    // The object of the last lookup that missed and the empty slot it stopped at; any change
    // to the table forgets it.
    const void* missed = nullptr;
    std::size_t missedAt = 0;
    std::vector<Region> regions; // in the order made: the first that includes an address has it
    Run runs[2];
    uint64_t lookups = 0;
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

    // Entries the vectors hold (for tests of the growth rule) and the regions of the object
    // numbers (for tests of arrays).
    std::size_t denseSize() const { return flags.size(); }
    std::size_t sparseSize() const { return farEntries.size(); }
    std::size_t regionCount() const { return numbers.regionCount(); }

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
