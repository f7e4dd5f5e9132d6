#include "ioReferenceMap.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <vector>

// Random definitions, fresh numbers and removals against a plain map: an object's number must
// follow its latest binding through table growth, removals that shift neighbours back, and
// reads that index their objects only when first asked.
TEST(ReferenceMap, ObjectNumbersFollowEveryBindingAndRemoval)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::unique_ptr<ioReferenceMap> map(ioReferenceMap::create());
        std::vector<char> objects(3000); // neighbouring addresses crowd the same table slots
        std::map<const void*, int> expected;
        std::map<int, const void*> definedBy;
        std::mt19937 random(seed);
        int next = 1;
        for (int step = 0; step < 20000; ++step) {
            const void* object = &objects[random() % objects.size()];
            int number = static_cast<int>(random() % 4000) + 1;
            switch (random() % 8) {
            case 0:
            case 1:
            case 2:
                map->define(number, const_cast<void*>(object), nullptr, false);
                expected[object] = number;
                definedBy[number] = object;
                break;
            case 3: {
                int fresh = map->newReference(object);
                ASSERT_EQ(fresh, next++);
                expected[object] = fresh;
                break;
            }
            case 4:
            case 5: {
                map->undefine(number);
                auto it = definedBy.find(number);
                if (it != definedBy.end()) {
                    auto bound = expected.find(it->second);
                    if (bound != expected.end() && bound->second == number)
                        expected.erase(bound);
                    definedBy.erase(it);
                }
                break;
            }
            default: {
                auto it = expected.find(object);
                ASSERT_EQ(map->referenceOf(object), it == expected.end() ? 0 : it->second)
                    << "seed " << seed << " step " << step;
            }
            }
        }
        for (const char& object : objects) {
            auto it = expected.find(&object);
            ASSERT_EQ(map->referenceOf(&object), it == expected.end() ? 0 : it->second);
        }
    }
}
