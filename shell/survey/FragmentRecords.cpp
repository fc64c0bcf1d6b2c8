// SPDX-License-Identifier: Apache-2.0
#include "survey/FragmentRecords.hpp"

#include <algorithm>

namespace corvane {
namespace {

bool covers(const laz::RecordBytes& all, const laz::RecordBytes& some) {
    return all.begin <= some.begin && some.end <= all.end && (some.bits & ~all.bits) == 0;
}

bool covers(const WantedBytes& all, const WantedBytes& some) {
    return std::ranges::all_of(some, [&](const auto& bytes) {
        return std::ranges::any_of(all, [&](const auto& one) { return covers(one, bytes); });
    });
}

/// Records, of which the bytes of `decoded` are sound.
class Records : public Fiber::MemArray<std::uint8_t> {
public:
    Records(std::size_t bytes, WantedBytes sound) : MemArray(bytes), decoded(std::move(sound)) {}

    const WantedBytes decoded;
};

} // namespace

WantedBytes Expectation::alsoWanted(const WantedBytes& bytes) {
    const std::scoped_lock lock(mutex_);
    for (const auto& one : bytes)
        if (!covers(wanted_, {one})) wanted_.push_back(one);
    return wanted_;
}

class FragmentRecords::Source : public Fiber::ArraySource {
public:
    Source(std::shared_ptr<const LasFile> las, const PointRange& range, std::shared_ptr<Expectation> expectation)
        : las_(std::move(las)), range_(range), expectation_(std::move(expectation)) {}

    Holdfast::StrongPtr<Fiber::MemBase> make() const override {
        const PointReader& points = *las_->points;
        const auto records =
            Holdfast::create<Records>(range_.count * points.recordLength(), expectation_->alsoWanted({}));
        points.ahead(range_, records->decoded)->next(std::as_writable_bytes(records->writableValues()));
        return records;
    }

private:
    std::shared_ptr<const LasFile> las_;
    PointRange range_;
    std::shared_ptr<Expectation> expectation_;
};

FragmentRecords::FragmentRecords(std::shared_ptr<const LasFile> las, const PointRange& range,
                                 std::shared_ptr<Expectation> expectation,
                                 const Holdfast::StrongPtr<Holdfast::Cache>& cache)
    : las_(std::move(las)), range_(range), expectation_(std::move(expectation)) {
    if (las_->compression())
        kept_ = Holdfast::create<Fiber::CreativeArrayBase>(typeid(std::uint8_t), range.count * stride(),
                                                           Holdfast::create<Source>(las_, range, expectation_), cache);
}

void FragmentRecords::forPieces(const WantedBytes& wanted, const Use& use) const {
    if (!kept_) return las_->points->forPieces(range_, wanted, use);
    const WantedBytes all = expectation_->alsoWanted(wanted);
    const auto data = kept_->getData();
    const auto& records = dynamic_cast<const Records&>(*data);
    if (covers(records.decoded, wanted)) return use(std::as_bytes(records.values()), 0, range_.count);
    las_->points->forPieces(range_, wanted, use); // made before anybody asked for these
}

} // namespace corvane
