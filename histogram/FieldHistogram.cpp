// SPDX-License-Identifier: Apache-2.0
#include "histogram/FieldHistogram.hpp"

#include "Holdfast/Profiler.hpp"
#include "Holdfast/Typename.hpp"
#include "histogram/CountValues.hpp"

#include <fmt/format.h>

#include <numeric>

namespace Fiber {

using Holdfast::RefPtr;
using Clock = Holdfast::TimeBudget::Clock;

namespace {

void addTo(std::span<std::uint64_t> sums, std::span<const std::uint64_t> counts) {
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += counts[i];
}

/// What one thread of a team counts.
template <class T>
struct PrivateCounts {
    std::vector<std::uint64_t> counts = std::vector<std::uint64_t>(BinsOf<T>);
};

} // namespace

template <class T>
auto FieldHistogram<T>::compute(const RefPtr<const MemBase>& data, const std::string&) -> Ptr {
    const Holdfast::Profiler profiler("actual compute_histogram");
    const auto array = arrayOf<T>(data);
    if (!array || array->size() == 0) return nullptr;
    const std::span<const T> values = array->values();
    const auto histogram = Holdfast::create<FieldHistogram<T>>();
    const std::span<std::uint64_t> counts = histogram->counts->values;
    if (values.size() <= SerialLimit<T>) {
        countValues(values, counts);
    } else {
        countInTeam<PrivateCounts<T>>(
            values.size(),
            [&](PrivateCounts<T>& own, std::size_t begin, std::size_t end) {
                countValues(values.subspan(begin, end - begin), own.counts);
            },
            [&](const PrivateCounts<T>& own) { addTo(counts, own.counts); });
    }
    return histogram;
}

/// One count of a whole field, from its beginning to its end.
template <class T>
class FieldHistogram<T>::WholeField {
public:
    WholeField(Field& field, const std::string& name, const HistogramPolicy& policy)
        : field_(field), name_(name), policy_(policy), fragments_(field.fragments().size()) {}

    Ptr count() {
        field_.iterate([this](const auto&, const auto& array) { return visit(array.get()); });
        if (sum_ && policy_.store) store();
        unpin();
        return sum_;
    }

private:
    /// False when nothing more is to be counted.
    bool visit(CreativeArrayBase* array) {
        const std::string text = "Counting " + name_;
        if (!policy_.isImmediate() && Clock::now() >= expiry_) return false;
        if (!report(text)) return false;
        ++visited_;
        if (!array) return true;
        if (array->getFiberType() != typeid(T)) return false;
        const Ptr part = ofFragment(*array);
        if (!part) ++missing_;
        if (part) add(*part);
        return true;
    }

    Ptr ofFragment(CreativeArrayBase& array) {
        if (const auto known = stored(array)) return known;
        const auto resident = array.residentData();
        if (resident || !policy_.load) return resident ? counted(array, resident) : nullptr;
        const auto data = array.getData(policy_); // with an immediate policy in the background, for the next time
        return data ? counted(array, data) : nullptr;
    }

    Ptr stored(CreativeArrayBase& array) {
        const auto attached = array.interfaces().findInterface<FieldHistogram>();
        if (attached && attached->secondary.empty() && attached->age() >= array.age()) {
            pins_.emplace_back(attached->counts);
            return attached;
        }
        if (array.age() > array.attributeAge()) return nullptr;
        const auto attribute = array.attributes().template getAttribute<std::uint64_t>(HistogramAttributeName(name_));
        if (!attribute || attribute->size() != Bins) return nullptr;
        const auto rebuilt = Holdfast::create<FieldHistogram>(array);
        rebuilt->counts->values = attribute->values;
        keep(array, rebuilt);
        return rebuilt;
    }

    Ptr counted(CreativeArrayBase& array, const RefPtr<const MemBase>& data) {
        const Ptr histogram = compute(data, name_);
        if (!histogram) return nullptr;
        histogram->setAge(array.age());
        if (policy_.store) keep(array, histogram);
        return histogram;
    }

    /// Pinned before the cache makes room for it, which might be made with this.
    void keep(CreativeArrayBase& array, const Ptr& histogram) {
        pins_.emplace_back(histogram->counts);
        keepWith(array, HistogramAttributeName(name_), histogram, histogram->counts);
        cache_ = array.cache();
    }

    /// The counters of a count that ends early stay until others need the memory: it may go on.
    void unpin() {
        pins_.clear();
        if (cache_ && visited_ == fragments_) cache_->makeRoom();
    }

    bool report(const std::string& text) {
        const auto now = Clock::now();
        if (!policy_.report || now - reported_ < ReportedEvery) return true;
        reported_ = now;
        return policy_.report(text, visited_, fragments_);
    }

    void add(const FieldHistogram& part) {
        if (!sum_) sum_ = Holdfast::create<FieldHistogram<T>>();
        if (part.counts->size() != sum_->counts->size()) return;
        addTo(sum_->counts->values, part.counts->values);
        sum_->raiseAge(part.age());
    }

    void store() {
        const auto copy = Holdfast::create<FieldHistogram<T>>();
        copy->counts->values = sum_->counts->values;
        copy->setAge(sum_->age());
        field_.interfaces().addInterface(copy);
        field_.attributes().setAttribute(HistogramAttributeName(name_), copy->counts);
        setCompleteness(field_, name_, fragments_, missing_ + fragments_ - visited_);
        if (sum_->age() > field_.attributeAge()) field_.updateAttributeAge(sum_->age());
    }

    static constexpr std::chrono::milliseconds ReportedEvery{100};

    Field& field_;
    const std::string& name_;
    const HistogramPolicy& policy_;
    const std::uint64_t fragments_;
    const Clock::time_point start_ = Clock::now(), expiry_ = policy_.expiryFrom(start_);
    Clock::time_point reported_ = start_;
    std::uint64_t visited_ = 0, missing_ = 0;
    std::vector<Holdfast::Pin<HistogramCounts>> pins_; // of what was counted, so that nothing is counted twice
    Holdfast::StrongPtr<Holdfast::Cache> cache_;       // that looks after it
    Ptr sum_;                                          // null: nothing was counted yet
};

template <class T>
auto FieldHistogram<T>::retrieve(Field& field, const std::string& name, const HistogramPolicy& policy) -> Ptr {
    if (field.getElementType() != typeid(T)) return nullptr;
    const Holdfast::Profiler profiler("FieldHistogram: retrieve on Field");
    return WholeField(field, name, policy).count();
}

template <class T>
std::vector<std::uint32_t> FieldHistogram<T>::occurringValues() const {
    std::vector<std::uint32_t> values;
    for (std::size_t i = 0; i < Bins; ++i)
        if (counts->values[i] > 0) values.push_back(static_cast<std::uint32_t>(i));
    return values;
}

template <class T>
std::vector<std::uint64_t> FieldHistogram<T>::occurringCounts() const {
    std::vector<std::uint64_t> occurring;
    for (const std::uint32_t value : occurringValues()) occurring.push_back(counts->values[value]);
    return occurring;
}

template <class T>
std::vector<double> FieldHistogram<T>::occurring(const std::vector<double>& statistic) const {
    std::vector<double> occurring;
    if (statistic.empty()) return occurring;
    for (const std::uint32_t value : occurringValues()) occurring.push_back(statistic[value]);
    return occurring;
}

template <class T>
std::uint64_t FieldHistogram<T>::total() const {
    return std::accumulate(counts->values.begin(), counts->values.end(), std::uint64_t{0});
}

template <class T>
std::string FieldHistogram<T>::text() const {
    std::string text = "Histogram<" + Holdfast::Typename(typeid(T)) + ">";
    for (const std::uint32_t value : occurringValues()) text += fmt::format("{{{},{}}}", value, counts->values[value]);
    return text + fmt::format(" total={}", total());
}

template class FieldHistogram<unsigned char>;
template class FieldHistogram<unsigned short>;

namespace {

/// Data may outlive the library that this is compiled into.
struct Withdrawal {
    ~Withdrawal() {
        Holdfast::Intercube::removeEverywhere(typeid(FieldHistogram<unsigned char>));
        Holdfast::Intercube::removeEverywhere(typeid(FieldHistogram<unsigned short>));
    }
};

const Withdrawal withdrawal;

} // namespace

} // namespace Fiber
