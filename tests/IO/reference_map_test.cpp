#include "internal/ioReferenceMapImpl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

std::vector<std::pair<void*, int>> reported;

void collect(void* slot, int extra)
{
    reported.emplace_back(slot, extra);
}

} // namespace

// Random definitions, synonyms, fresh numbers, removals and waiting pointer slots against a
// plain model: an object's number follows its latest binding through table growth and
// removals; a slot gets its object at once when the number is defined, else when the number is
// redefined or removed, else in the final pass in registration order, or stays reported as
// waiting. A fresh number is never one already defined or waited for, and the object it is
// given to is found under it, also when the table grew in between. Two walks through the
// objects at steps of 24 and 40 bytes, among the random lookups, make the map keep numbers
// for arrays, and the final lookup of every object one more: the bindings it held before
// must come along.
TEST(ReferenceMap, RandomBindingsAndWaitingSlotsMatchAPlainModel)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::unique_ptr<ioReferenceMapImpl> map(static_cast<ioReferenceMapImpl*>(ioReferenceMap::create()));
        size_t walked[2] = {0, 0};
        const size_t walkStep[2] = {24, 40};
        std::vector<char> objects(3000); // neighbouring addresses crowd the same table slots
        std::vector<void*> slots(400);
        std::vector<void*> expectedSlots(slots.size());
        std::map<const void*, int> numberOf;
        std::map<int, void*> definedAs; // defined numbers
        std::vector<bool> taken(30000); // numbers defined or waited for at some time
        struct Waiting {
            size_t slot;
            int number;
            bool done;
        };
        std::vector<Waiting> registered; // in registration order
        auto fill = [&](int number, void* object) {
            for (Waiting& w : registered)
                if (!w.done && w.number == number) {
                    expectedSlots[w.slot] = object;
                    w.done = true;
                }
        };
        std::mt19937 random(seed);
        int next = 1;
        for (int step = 0; step < 20000; ++step) {
            void* object = &objects[random() % objects.size()];
            int number = static_cast<int>(random() % 600) + 1;
            const unsigned action = random() % 10;
            if ((action == 2 || action > 6) && random() % 4 < 3) {
                size_t& at = walked[random() % 3 == 0 ? 1 : 0];
                at = (at + walkStep[&at - walked]) % objects.size();
                object = &objects[at];
            }
            switch (action) {
            case 0:
            case 1: {
                bool synonym = random() % 4 == 0;
                map->define(number, object, nullptr, synonym);
                taken[static_cast<size_t>(number)] = true;
                numberOf[object] = number;
                if (synonym && definedAs.count(number))
                    break;
                if (definedAs.count(number))
                    fill(number, definedAs[number]);
                definedAs[number] = object;
                break;
            }
            case 2: {
                // As the writer asks: the lookup that misses, then a fresh number.
                auto known = numberOf.find(object);
                ASSERT_EQ(map->referenceOf(object), known == numberOf.end() ? 0 : known->second);
                while (taken[static_cast<size_t>(next)])
                    ++next;
                ASSERT_EQ(map->newReference(object), next);
                numberOf[object] = next++;
                break;
            }
            case 3: {
                map->undefine(number);
                auto it = definedAs.find(number);
                if (it != definedAs.end()) {
                    fill(number, it->second);
                    auto bound = numberOf.find(it->second);
                    if (bound != numberOf.end() && bound->second == number)
                        numberOf.erase(bound);
                    definedAs.erase(it);
                }
                break;
            }
            case 4:
            case 5:
            case 6: {
                size_t k = random() % slots.size();
                map->addPendingSlot(number, &slots[k], nullptr, static_cast<int>(k));
                taken[static_cast<size_t>(number)] = true;
                auto it = definedAs.find(number);
                expectedSlots[k] = it == definedAs.end() ? nullptr : it->second;
                if (it == definedAs.end())
                    registered.push_back({k, number, false});
                break;
            }
            default: {
                auto it = numberOf.find(object);
                ASSERT_EQ(map->referenceOf(object), it == numberOf.end() ? 0 : it->second)
                    << "seed " << seed << " step " << step;
            }
            }
        }
        ASSERT_GE(map->regionCount(), 1u) << "seed " << seed;
        const size_t walkedRegions = map->regionCount();
        for (const char& object : objects) {
            auto it = numberOf.find(&object);
            ASSERT_EQ(map->referenceOf(&object), it == numberOf.end() ? 0 : it->second);
        }
        ASSERT_GT(map->regionCount(), walkedRegions) << "seed " << seed;
        map->fillDefinedSlots();
        std::vector<std::pair<void*, int>> stillWaiting;
        for (Waiting& w : registered) {
            if (w.done)
                continue;
            auto it = definedAs.find(w.number);
            if (it != definedAs.end())
                expectedSlots[w.slot] = it->second;
            else
                stillWaiting.emplace_back(&slots[w.slot], static_cast<int>(w.slot));
        }
        ASSERT_EQ(slots, expectedSlots) << "seed " << seed;
        reported.clear();
        map->reportUnresolved(nullptr, collect);
        std::sort(reported.begin(), reported.end());
        std::sort(stillWaiting.begin(), stillWaiting.end());
        ASSERT_EQ(reported, stillWaiting) << "seed " << seed;
    }
}
