// SPDX-License-Identifier: Apache-2.0
#include "histogram/FieldHistogram.hpp"
#include "../host/Bench.hpp"
#include "Distributions.hpp"

#include <omp.h>
#include <thread>

namespace corvane::test {
namespace {

using Bytes = std::vector<unsigned char>;
using Loads = std::vector<int>;
using Histogram = Fiber::FieldHistogram<unsigned char>;
using Fiber::FieldHistogramBase;

const std::string Name = "Classification", Attribute = Fiber::HistogramAttributeName(Name);

constexpr std::size_t CounterBytes = 256 * sizeof(std::uint64_t);
constexpr std::size_t TwoSetsOfCounters = 2 * CounterBytes + 500; // and a few values

Fiber::HistogramPolicy loading(bool store = true) {
    Fiber::HistogramPolicy policy;
    policy.load = true;
    policy.store = store;
    return policy;
}

template <class T>
class Counting : public testing::Test {};
using CodeTypes = testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Counting, CodeTypes);

TYPED_TEST(Counting, AgreesWithAPlainLoopForAnyNumberOfThreads) {
    using T = TypeParam;
    const int usual = omp_get_max_threads();
    for (const std::size_t size : tellingSizes<T>())
        for (const Distribution distribution : Distributions) {
            const auto values = valuesOf<T>(distribution, size);
            const auto array = Source<T>(values).make();
            std::vector<std::uint64_t> plain(Fiber::FieldHistogram<T>::Bins);
            for (const T value : values) ++plain[value];
            for (const int threads : {1, 2, 5}) {
                omp_set_num_threads(threads);
                const auto found = Fiber::FieldHistogram<T>::compute(array, Name);
                EXPECT_TRUE(std::ranges::equal(found->counts->values, plain))
                    << size << " of distribution " << int(distribution) << " on " << threads << " threads";
            }
        }
    omp_set_num_threads(usual);
}

/// Takes its time to load.
class SlowSource : public Source<unsigned char> {
public:
    using Source::Source;
    StrongPtr<Fiber::MemBase> make() const override {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        return Source::make();
    }
};

class FieldHistogramTest : public Bench {
protected:
    void classes(const std::vector<Bytes>& fragments) { field<unsigned char>(Name, fragments); }

    /// The text form of a count, "null" for none.
    std::string count(const Fiber::HistogramPolicy& policy = loading()) {
        const auto found = Histogram::retrieve(find(Name), Name, policy);
        return found ? found->text() : "null";
    }
    Fiber::CreativeArrayBase& array(std::uint32_t number) { return *find(Name).getCreator(id(number)); }

    /// Fragments of one value, 5, that take their time to load.
    std::vector<StrongPtr<Source<unsigned char>>> slowClasses(std::uint32_t fragments) {
        classes(std::vector<Bytes>(fragments));
        std::vector<StrongPtr<Source<unsigned char>>> sources;
        for (std::uint32_t f = 0; f < fragments; ++f) {
            sources.push_back(StrongPtr<Source<unsigned char>>(Holdfast::create<SlowSource>(Bytes{5})));
            find(Name).setPersistentData(arrayFrom(sources.back(), 1, cache), id(f));
        }
        return sources;
    }
    bool complete() { return FieldHistogramBase::isComplete(find(Name), Name); }
    bool fieldCarriesAnything() {
        return find(Name).interfaces().findInterface<Histogram>() || !find(Name).attributes().names().empty();
    }
};

TEST_F(FieldHistogramTest, WhatIsNoArrayOfTheTypeOrEmptyGivesNone) {
    EXPECT_FALSE(Histogram::compute(nullptr, Name));
    EXPECT_FALSE(Histogram::compute(Source<unsigned char>({}).make(), Name));
    EXPECT_FALSE(Histogram::compute(Source<char>({1, 2}).make(), Name));
    field<unsigned short>(Name, {{1}});
    EXPECT_EQ(count(), "null");
    EXPECT_EQ(Histogram().text(), "Histogram<unsigned char> total=0");
}

TEST_F(FieldHistogramTest, CountsAgainOnlyWhatChanged) {
    classes({{2, 2, 7}, {7, 7}, {7, 7, 2}});
    EXPECT_EQ(count(), "Histogram<unsigned char>{2,3}{7,5} total=8");
    EXPECT_TRUE(complete());
    EXPECT_EQ(loads(Name), (Loads{1, 1, 1}));

    for (std::uint32_t f = 0; f < 3; ++f) array(f).discardCreation();
    EXPECT_EQ(count(), "Histogram<unsigned char>{2,3}{7,5} total=8");
    EXPECT_EQ(loads(Name), (Loads{1, 1, 1})) << "dropped values are not needed";

    array(1).touch(Ageable::nextTime());
    EXPECT_EQ(count(), "Histogram<unsigned char>{2,3}{7,5} total=8");
    EXPECT_EQ(loads(Name), (Loads{1, 2, 1})) << "only the one that changed is counted again";

    const auto edited = array(1).privateCopy();
    edited->template writableData<unsigned char>()->writableValues()[0] = 9;
    find(Name).setPersistentData(edited, id(1));
    EXPECT_EQ(count(), "Histogram<unsigned char>{2,3}{7,4}{9,1} total=8");
    EXPECT_EQ(loads(Name)[0] + loads(Name)[2], 2);
}

TEST_F(FieldHistogramTest, TakesAStoredAttributeThatFitsAndIsNotStale) {
    classes({{1, 1}});
    const auto store = [&](std::size_t bins, Ageable::Age age) {
        const auto counts = Holdfast::create<Holdfast::Chunk<std::uint64_t>>(bins, std::uint64_t{0});
        counts->values[3] = 5; // which the values would not give
        array(0).attributes().setAttribute(Attribute, counts);
        array(0).updateAttributeAge(age);
    };
    const Ageable::Age now = array(0).age();
    for (const std::size_t bins : {255u, 65'536u}) {
        store(bins, now);
        EXPECT_EQ(count(loading(false)), "Histogram<unsigned char>{1,2} total=2") << bins;
    }
    store(256, now - 1);
    EXPECT_EQ(count(loading(false)), "Histogram<unsigned char>{1,2} total=2") << "stale";
    store(256, now);
    EXPECT_EQ(count(loading(false)), "Histogram<unsigned char>{3,5} total=5");
    EXPECT_TRUE(array(0).interfaces().findInterface<Histogram>()) << "found sooner the next time";
    store(255, now);
    const auto other = Holdfast::create<Histogram>(array(0));
    other->secondary = "Z";
    array(0).interfaces().addInterface(other);
    EXPECT_EQ(count(loading(false)), "Histogram<unsigned char>{1,2} total=2") << "no plain count";
}

TEST_F(FieldHistogramTest, FragmentsThatCannotBeHadEndEachInItsWay) {
    const std::vector<Bytes> three{{1}, {2}, {3}};
    classes(three);
    find(Name).setPersistentData(nullptr, id(1));
    EXPECT_EQ(count(), "Histogram<unsigned char>{1,1}{3,1} total=2");
    EXPECT_TRUE(complete()) << "a fragment without data is none";

    classes(three);
    find(Name).setPersistentData(arrayOf<unsigned short>({2}), id(1));
    EXPECT_EQ(count(), "Histogram<unsigned char>{1,1} total=1");
    EXPECT_FALSE(complete()) << "another type ends the count";

    classes(three);
    const auto pinned = array(2).getData();
    Fiber::HistogramPolicy residentOnly = loading();
    residentOnly.load = false;
    EXPECT_EQ(count(residentOnly), "Histogram<unsigned char>{3,1} total=1");
    EXPECT_FALSE(complete());
    EXPECT_EQ(loads(Name), (Loads{0, 0, 1}));
}

TEST_F(FieldHistogramTest, LeavesNoTraceWithoutResultOrLeave) {
    classes({{1}, {2}});
    Fiber::HistogramPolicy nothing = loading();
    nothing.load = false;
    EXPECT_EQ(count(nothing), "null");
    EXPECT_FALSE(fieldCarriesAnything());
    EXPECT_EQ(count(loading(false)), "Histogram<unsigned char>{1,1}{2,1} total=2");
    EXPECT_FALSE(fieldCarriesAnything());
    EXPECT_FALSE(array(0).interfaces().findInterface<Histogram>());
    EXPECT_EQ(count(), "Histogram<unsigned char>{1,1}{2,1} total=2");
    EXPECT_TRUE(fieldCarriesAnything());
    EXPECT_EQ(find(Name).attributeAge(), array(1).age());
}

TEST_F(FieldHistogramTest, ImmediateCountLeavesLoadingToTheBackground) {
    classes({{1}});
    Fiber::HistogramPolicy immediate(std::chrono::microseconds(0));
    EXPECT_EQ(count(immediate), "null");
    EXPECT_EQ(loads(Name), (Loads{0})) << "not asked to load";
    immediate.load = true;
    EXPECT_EQ(count(immediate), "null");
    for (int i = 0; i < 1000 && !array(0).hasData(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(count(immediate), "Histogram<unsigned char>{1,1} total=1");
}

TEST_F(FieldHistogramTest, EndsWhenTheUserStopsIt) {
    slowClasses(3); // since what goes fast is not told
    std::string heard;
    Fiber::HistogramPolicy stopped = loading();
    stopped.report = [&](const std::string& text, std::uint64_t done, std::uint64_t total) {
        heard += text + " " + std::to_string(done) + "/" + std::to_string(total) + ";";
        return done < 2;
    };
    EXPECT_EQ(count(stopped), "Histogram<unsigned char>{5,2} total=2");
    EXPECT_TRUE(heard.ends_with("Counting Classification 1/3;Counting Classification 2/3;")) << heard;
    EXPECT_FALSE(complete());
}

TEST_F(FieldHistogramTest, GoesOnWhereTimeWasUpHoweverShortMemoryIs) {
    cache = Holdfast::create<Holdfast::Cache>(TwoSetsOfCounters);
    const auto sources = slowClasses(6);
    Fiber::HistogramPolicy limited(std::chrono::milliseconds(200));
    limited.load = limited.store = true;
    std::string counted;
    for (int leg = 0; leg < 6 && !complete(); ++leg) counted = count(limited);
    EXPECT_EQ(counted, "Histogram<unsigned char>{5,6} total=6");
    for (const auto& source : sources) EXPECT_EQ(source->loads, 1);
}

TEST_F(FieldHistogramTest, StoredCountersGoWhenMemoryIsShortThoseOfAnAttributeToo) {
    cache = Holdfast::create<Holdfast::Cache>(TwoSetsOfCounters);
    classes({{1}, {2}, {3}, {4}});
    const auto counts = Holdfast::create<Holdfast::Chunk<std::uint64_t>>(256u, std::uint64_t{0});
    counts->values[1] = 1;
    array(0).attributes().setAttribute(Attribute, counts); // as somebody stored it elsewhere
    array(0).updateAttributeAge(array(0).age());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(count(), "Histogram<unsigned char>{1,1}{2,1}{3,1}{4,1} total=4");
        EXPECT_TRUE(complete());
        EXPECT_EQ(loads(Name)[0], i);
        EXPECT_LE(cache->residentBytes(), TwoSetsOfCounters);
        EXPECT_FALSE(array(0).interfaces().findInterface<Histogram>());
        EXPECT_FALSE(array(0).attributes().getAttribute(Attribute));
    }
    EXPECT_TRUE(array(3).attributes().getAttribute(Attribute));
}

TEST_F(FieldHistogramTest, StoredCountersCountInTheMemoryBudget) {
    classes({{1}, {2}});
    count();
    EXPECT_EQ(cache->residentBytes(), 2 + 2 * CounterBytes);
    EXPECT_EQ(array(0).attributes().getAttribute(Attribute),
              StrongPtr<Holdfast::ChunkBase>(array(0).interfaces().findInterface<Histogram>()->counts))
        << "interface and attribute are one";

    Holdfast::Intercube::removeEverywhere(typeid(Histogram)); // as when the library is unloaded
    for (std::uint32_t f : {0, 1}) array(f).discardCreation();
    count();
    EXPECT_EQ(loads(Name), (Loads{1, 1})) << "the attribute is as good";
    EXPECT_EQ(cache->residentBytes(), 2 * CounterBytes) << "rebuilt from it";
}

TEST_F(FieldHistogramTest, ValuesGoBeforeTheirCountersAndUsedCountersLast) {
    cache = Holdfast::create<Holdfast::Cache>(TwoSetsOfCounters);
    const Bytes many(400, 1);
    classes({many, many});
    count();
    for (std::uint32_t f : {0, 1, 0, 1}) {
        array(f).discardCreation();
        array(f).getData();
    }
    for (std::uint32_t f : {0, 1}) EXPECT_TRUE(array(f).interfaces().findInterface<Histogram>()) << f;

    Fiber::Field& used = find(Name);
    field<unsigned char>("Other", {{3}});
    used.getCreator(id(1))->discardCreation();
    const auto countOne = [&](std::uint32_t number) {
        Fiber::Field one(typeid(unsigned char));
        one.setPersistentData(used.getCreator(id(number)), id(number));
        Histogram::retrieve(one, Name, loading());
    };
    countOne(0);
    Histogram::retrieve(find("Other"), "Other", loading());
    EXPECT_TRUE(array(0).interfaces().findInterface<Histogram>()) << "used since";
    EXPECT_FALSE(array(1).interfaces().findInterface<Histogram>());
}

} // namespace
} // namespace corvane::test
