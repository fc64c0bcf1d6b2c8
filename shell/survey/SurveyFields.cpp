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

/// Values that are made of records, piece by piece.
class RecordSource : public Fiber::ArraySource {
public:
    explicit RecordSource(std::shared_ptr<const FragmentRecords> records) : records_(std::move(records)) {}

    StrongPtr<Fiber::MemBase> make() const final {
        const auto task = begin();
        records_->forPieces(task->wanted, [&](std::span<const std::byte> records, std::size_t first,
                                              std::size_t count) { task->decode(records, first, count); });
        task->end();
        return task->values;
    }

    /// An array that is being filled.
    struct Filling {
        virtual ~Filling() = default;

        /// Looks at the wanted bytes of the records of `count` points, whose values begin at `first`.
        virtual void decode(std::span<const std::byte> records, std::size_t first, std::size_t count) = 0;
        virtual void end() {}

        StrongPtr<Fiber::MemBase> values;
        WantedBytes wanted;
    };
    virtual std::unique_ptr<Filling> begin() const = 0;

    const FragmentRecords& records() const { return *records_; }

protected:
    const LasFile& las() const { return records_->las(); }
    std::size_t stride() const { return records_->stride(); }

private:
    std::shared_ptr<const FragmentRecords> records_;
};

class PositionSource : public RecordSource {
public:
    using RecordSource::RecordSource;

    std::unique_ptr<Filling> begin() const override { return std::make_unique<Positions>(records()); }

private:
    class Positions : public Filling {
    public:
        explicit Positions(const FragmentRecords& records)
            : records_(records), points_(Holdfast::create<Fiber::MemArray<Point>>(records.count())) {
            values = points_;
            wanted = {PositionBytes};
        }
        void decode(std::span<const std::byte> records, std::size_t first, std::size_t count) override {
            decodePositions(records, records_.stride(), records_.las().header,
                            points_->writableValues().subspan(first, count));
        }

    private:
        const FragmentRecords& records_;
        StrongPtr<Fiber::MemArray<Point>> points_;
    };
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

    std::unique_ptr<Filling> begin() const override { return std::make_unique<Values>(*this); }

private:
    class Values : public Filling {
    public:
        explicit Values(const DimensionSource& source)
            : source_(source),
              numbers_(Holdfast::create<Fiber::MemArray<T>>(source.records().count())),
              positions_(source.note_.expectation->brush ? source.note_.positions.lock() : nullptr) {
            values = numbers_;
            wanted = {source.dimension_.place()};
            if (positions_) wanted.push_back(PositionBytes);
        }
        void decode(std::span<const std::byte> records, std::size_t first, std::size_t count) override {
            if (positions_) bounds_.include(records, source_.stride());
            source_.decode(records, numbers_->writableValues().subspan(first, count));
        }
        void end() override {
            if (positions_) bounds_.note(*positions_, source_.las().header);
        }

    private:
        const DimensionSource& source_;
        StrongPtr<Fiber::MemArray<T>> numbers_;
        StrongPtr<Fiber::CreativeArrayBase> positions_;
        StoredBounds bounds_;
    };

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

std::vector<StrongPtr<Fiber::CreativeArrayBase>>
loadTogether(std::span<const StrongPtr<Fiber::CreativeArrayBase>> arrays) {
    const FragmentRecords* records = nullptr;
    std::vector<std::pair<StrongPtr<Fiber::CreativeArrayBase>, std::unique_ptr<RecordSource::Filling>>> wanting;
    WantedBytes wanted;
    for (const auto& array : arrays) {
        const auto source = array ? Holdfast::cast<const RecordSource>(array->source()) : nullptr;
        if (!source || array->hasData() || (records && records != &source->records())) continue;
        records = &source->records();
        wanting.emplace_back(array, source->begin());
        std::ranges::copy(wanting.back().second->wanted, std::back_inserter(wanted));
    }
    if (wanting.empty()) return {};
    records->forPieces(wanted, [&](std::span<const std::byte> piece, std::size_t first, std::size_t count) {
        for (const auto& [array, filling] : wanting) filling->decode(piece, first, count);
    });
    std::vector<StrongPtr<Fiber::CreativeArrayBase>> made;
    for (const auto& [array, filling] : wanting) {
        filling->end();
        array->take(filling->values);
        made.push_back(array);
    }
    return made;
}

} // namespace corvane
