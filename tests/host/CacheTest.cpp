// SPDX-License-Identifier: Apache-2.0
#include "../support/Messages.hpp"
#include "Bench.hpp"

#include <chrono>
#include <thread>

namespace corvane::test {
namespace {

using Array = StrongPtr<Fiber::CreativeArrayBase>;
using Bytes = Source<unsigned char>;
const auto Immediate = Holdfast::TimeBudget::immediate();

template <class Condition>
bool soon(const Condition& holds) {
    for (int i = 0; i < 2000 && !holds(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return holds();
}

/// A cache with room for three arrays of 100 bytes.
class CachedArrays : public testing::Test {
protected:
    Array array() {
        source = Holdfast::create<Bytes>(std::vector<unsigned char>(100, 7));
        return arrayFrom(source, 100, cache);
    }

    /// Which of a to d are resident.
    std::string resident() const {
        std::string names;
        for (std::size_t i = 0; i < all.size(); ++i)
            if (all[i]->hasData()) names += char('a' + i);
        return names;
    }

    StrongPtr<Holdfast::Cache> cache = Holdfast::create<Holdfast::Cache>(300u);
    StrongPtr<Bytes> source; // of the array made last
    std::vector<Array> all{array(), array(), array(), array()};
};

TEST_F(CachedArrays, theLeastRecentlyUsedGoFirst) {
    for (std::size_t i : {0, 1, 2}) all[i]->getData();
    EXPECT_EQ(resident(), "abc");
    all[0]->markAsUsed();
    all[3]->getData();
    EXPECT_EQ(resident(), "acd");
    all[1]->getData();
    EXPECT_EQ(resident(), "abd");
    EXPECT_EQ(cache->residentBytes(), 300u);
}

TEST_F(CachedArrays, valuesInUseStay) {
    auto held = all[0]->getData();
    all[1]->enableCaching(false);
    for (const auto& a : all) a->getData();
    EXPECT_EQ(resident(), "abd");
    held.reset();
    all[2]->getData();
    EXPECT_EQ(resident().size(), 3u);
    EXPECT_NE(resident().find('b'), std::string::npos);
    all[1]->enableCaching(true);
    for (std::size_t i : {0, 2, 3}) all[i]->getData();
    EXPECT_EQ(resident(), "acd");
}

/// Refuses to discard, and counts how often it is asked.
class Refusal : public Holdfast::Creature {
public:
    bool hasData() const override { return true; }
    bool discardCreation() override { return ++asked < 0; }
    int asked = 0;
};

TEST_F(CachedArrays, whatCannotGoIsNotAskedFor) {
    const auto refusal = Holdfast::create<Refusal>();
    const Array copies[] = {all[0]->privateCopy(), all[1]->privateCopy(), all[2]->privateCopy(), all[3]->privateCopy()};
    for (const auto& copy : copies) {
        EXPECT_FALSE(copy->discardCreation()) << "modified values are never dropped";
        copy->writableValues()->setCreator(StrongPtr<Holdfast::Creature>(refusal));
    }
    EXPECT_EQ(resident(), "");
    EXPECT_EQ(cache->residentBytes(), 400u) << "they count all the same";
    Fiber::MemArray<char> pinned(100);
    pinned.setCreator(StrongPtr<Holdfast::Creature>(refusal));
    cache->insert(pinned);
    EXPECT_EQ(refusal->asked, 1) << "it could go until it is pinned";
    pinned.pin();
    pinned.markAsUsed();
    all[0]->getData();
    EXPECT_EQ(refusal->asked, 1);
    pinned.unpin();
    cache->makeRoom();
    EXPECT_EQ(refusal->asked, 2);
}

TEST_F(CachedArrays, ageAndAttributesSurviveDropping) {
    const auto age = all[0]->age();
    const auto attribute = Holdfast::create<Holdfast::Chunk<int>>(std::initializer_list<int>{42});
    all[0]->attributes().setAttribute("answer", attribute);
    all[0]->updateAttributeAge(age);
    for (const auto& a : all) a->getData();
    ASSERT_EQ(resident(), "bcd");
    const auto again = Fiber::arrayOf<unsigned char>(all[0]->getData());
    EXPECT_EQ(again->values()[99], 7);
    EXPECT_EQ(all[0]->age(), age);
    EXPECT_EQ(all[0]->attributeAge(), age);
    EXPECT_EQ(all[0]->attributes().getAttribute<int>("answer"), attribute);
    EXPECT_EQ(cast<Holdfast::Chunk<double>>(all[0]->attributes().getAttribute("answer")), nullptr);
}

TEST_F(CachedArrays, anImmediateRequestIsServedLater) {
    EXPECT_EQ(all[3]->getData(Immediate), nullptr);
    all[3]->getData(Immediate);
    ASSERT_TRUE(soon([&] { return all[3]->hasData(); }));
    EXPECT_NE(all[3]->getData(Immediate), nullptr);
    EXPECT_EQ(source->loads, 1);
}

TEST_F(CachedArrays, aFailingSourceSurfaces) {
    source->fails = true;
    EXPECT_THROW(all[3]->getData(), std::runtime_error);
    EXPECT_EQ(all[3]->getData(Immediate), nullptr);
    std::string failure;
    EXPECT_TRUE(soon([&] {
        if (failure.empty()) failure = messageOf<std::runtime_error>([&] { all[3]->getData(Immediate); });
        return !failure.empty();
    }));
    EXPECT_EQ(failure, "the drive is gone");
    const int loads = source->loads;
    all[3]->getData(Immediate);
    ASSERT_TRUE(soon([&] { return source->loads > loads; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // until the failure is noted
    source->fails = false;
    EXPECT_NE(all[3]->getData(), nullptr);
    ASSERT_TRUE(all[3]->discardCreation());
    EXPECT_NO_THROW(EXPECT_EQ(all[3]->getData(Immediate), nullptr)) << "an old failure is forgotten";
}

TEST(Worker, survivesItsOwnerBeingDestroyedByAJob) {
    struct Owner {
        Holdfast::Worker worker;
    };
    std::atomic<int> ran = 0;
    auto owner = std::make_shared<Owner>();
    std::atomic<bool> released = false;
    owner->worker.add([owner, &ran, &released] {
        while (!released) std::this_thread::yield();
        ++ran;
    });
    owner->worker.add([&ran] { ran += 100; }); // forgotten with the owner
    const std::weak_ptr<Owner> watched = owner;
    owner.reset();
    released = true;
    EXPECT_TRUE(soon([&] { return watched.expired(); }));
    EXPECT_EQ(ran, 1);
}

} // namespace
} // namespace corvane::test
