// SPDX-License-Identifier: Apache-2.0
#include "survey/SurveyFields.hpp"

#include "Fiber/FragmentBox.hpp"
#include "las/LittleEndian.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>

namespace corvane {
namespace {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

constexpr laz::RecordBytes PositionBytes{0, 3 * sizeof(std::int32_t)};

class RecordSource : public Fiber::ArraySource {
public:
    explicit RecordSource(std::shared_ptr<const FragmentRecords> records) : records_(std::move(records)) {}

protected:
    /// An array of T, its pieces filled by `decode(records, values)`, which looks at the wanted bytes.
    template <class T, class Decode>
    StrongPtr<Fiber::MemBase> filled(const WantedBytes& wanted, Decode decode) const {
        const auto array = Holdfast::create<Fiber::MemArray<T>>(records_->count());
        records_->forPieces(wanted, [&](std::span<const std::byte> records, std::size_t first, std::size_t count) {
            decode(records, array->writableValues().subspan(first, count));
        });
        return array;
    }

    const LasFile& las() const { return records_->las(); }
    std::size_t stride() const { return records_->stride(); }

private:
    std::shared_ptr<const FragmentRecords> records_;
};

class PositionSource : public RecordSource {
public:
    using RecordSource::RecordSource;
    StrongPtr<Fiber::MemBase> make() const override {
        return filled<Point>({PositionBytes}, [&](auto records, auto positions) {
            decodePositions(records, stride(), las().header, positions);
        });
    }
};

/// The bounds of records' coordinates as they are stored.
class StoredBounds {
public:
    void include(std::span<const std::byte> records, std::size_t stride) {
        for (std::size_t at = 0; at + stride <= records.size(); at += stride)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const auto stored = load<std::int32_t>(records, at + axis * sizeof(std::int32_t));
                low_[axis] = std::min(low_[axis], stored);
                high_[axis] = std::max(high_[axis], stored);
            }
    }

    /// As the box of the positions, which is the same: decoding keeps the order, or turns it round.
    void note(Fiber::CreativeArrayBase& positions, const LasHeader& header) const {
        std::array<std::int32_t, 6> corners{low_[0], low_[1], low_[2], high_[0], high_[1], high_[2]};
        std::array<Point, 2> decoded;
        decodePositions(std::as_bytes(std::span(corners)), sizeof corners / 2, header, std::span<Point>(decoded));
        Fiber::noteFragmentBBox(positions, Fiber::boundingBox(decoded));
    }

private:
    static constexpr std::int32_t Least = std::numeric_limits<std::int32_t>::min(), Most = ~Least;
    std::array<std::int32_t, 3> low_{Most, Most, Most}, high_{Least, Least, Least};
};

/// Values of one dimension. `Stored` is how they lie in the record, T how they read.
template <class Stored, class T>
class DimensionSource : public RecordSource {
public:
    DimensionSource(std::shared_ptr<const FragmentRecords> records, Dimension dimension, const BoxNote& note)
        : RecordSource(std::move(records)), dimension_(std::move(dimension)), note_(note) {}

    StrongPtr<Fiber::MemBase> make() const override {
        const auto positions = note_.expectation->brush ? note_.positions.lock() : nullptr;
        StoredBounds bounds;
        WantedBytes wanted{dimension_.place()};
        if (positions) wanted.push_back(PositionBytes);
        const auto made = filled<T>(wanted, [&](auto records, auto values) {
            if (positions) bounds.include(records, stride());
            decode(records, values);
        });
        if (positions) bounds.note(*positions, las().header);
        return made;
    }

private:
    void decode(std::span<const std::byte> records, std::span<T> values) const {
        if constexpr (std::same_as<T, std::uint8_t>)
            if (dimension_.packed()) return decodeBits(records, stride(), dimension_, values);
        decodeValues<Stored>(records, stride(), dimension_, values);
    }

    Dimension dimension_;
    BoxNote note_;
};

constexpr std::size_t Axes = 3; // X, Y and Z are the first dimensions

bool readsAsDouble(const LasFile& las, std::size_t index) { return index < Axes || las.dimensions[index].scaled(); }

} // namespace

std::vector<SurveyField> fieldsOf(const LasFile& las) {
    std::vector<SurveyField> fields{{Fiber::PositionsName, "double[3]", SurveyField::None, false}};
    for (std::size_t i = 0; i < las.dimensions.size(); ++i) {
        const bool asDouble = readsAsDouble(las, i);
        const Storage storage = asDouble ? Storage::Double : las.dimensions[i].storage;
        std::string name = las.dimensions[i].name;
        if (name == Fiber::PositionsName) name += "_"; // extra bytes may be called anything
        fields.push_back({name, std::string(nameOf(storage)), i, !asDouble});
    }
    return fields;
}

const std::type_info& elementTypeOf(const LasFile& las, const SurveyField& field) {
    if (field.dimension == SurveyField::None) return typeid(Point);
    if (readsAsDouble(las, field.dimension)) return typeid(double);
    return *withStored(las.dimensions[field.dimension].storage, [](auto stored) { return &typeid(stored); });
}

StrongPtr<Fiber::ArraySource> sourceOf(const std::shared_ptr<const FragmentRecords>& records, const SurveyField& field,
                                       const BoxNote& note) {
    if (field.dimension == SurveyField::None) return Holdfast::create<PositionSource>(records);
    const Dimension dimension = records->las().asRead(field.dimension);
    const bool asDouble = readsAsDouble(records->las(), field.dimension);
    return withStored(dimension.storage, [&](auto stored) -> StrongPtr<Fiber::ArraySource> {
        using Stored = decltype(stored);
        if (asDouble) return Holdfast::create<DimensionSource<Stored, double>>(records, dimension, note);
        return Holdfast::create<DimensionSource<Stored, Stored>>(records, dimension, note);
    });
}

} // namespace corvane
