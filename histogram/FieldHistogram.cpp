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
FieldHistogram<T>::FieldHistogram(const Holdfast::Ageable& data, CountsPtr stored)
    : FieldHistogramBase(data), counts(std::move(stored)) {}

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

template <class T>
auto FieldHistogram<T>::ofFragment(CreativeArrayBase& array, const std::string& name, const HistogramPolicy& policy)
    -> Ptr {
    if (array.getFiberType() != typeid(T)) return nullptr;
    if (const auto known = stored(array, name)) return known;
    if (const auto resident = array.residentData()) return counted(array, resident, name, policy);
    if (policy.isImmediate()) {
        if (policy.load) array.getData(policy); // in the background, for the next time
        return nullptr;
    }
    const auto data = policy.load ? array.getData() : array.residentData();
    return data ? counted(array, data, name, policy) : nullptr;
}

template <class T>
auto FieldHistogram<T>::stored(CreativeArrayBase& array, const std::string& name) -> Ptr {
    const auto attached = array.interfaces().findInterface<FieldHistogram<T>>();
    if (attached && attached->secondary.empty() && attached->age() >= array.age()) return attached;
    if (array.age() > array.attributeAge()) return nullptr;
    const auto attribute = array.attributes().template getAttribute<std::uint64_t>(HistogramAttributeName(name));
    if (!attribute || attribute->size() != Bins) return nullptr;
    const auto rebuilt = Holdfast::create<FieldHistogram<T>>(array, attribute);
    array.interfaces().addInterface(rebuilt);
    return rebuilt;
}

template <class T>
auto FieldHistogram<T>::counted(CreativeArrayBase& array, const RefPtr<const MemBase>& data, const std::string& name,
                                const HistogramPolicy& policy) -> Ptr {
    const Ptr histogram = compute(data, name);
    if (!histogram) return nullptr;
    histogram->setAge(array.age());
    if (!policy.store) return histogram;
    keepWith(array, HistogramAttributeName(name), histogram, Holdfast::cast<HistogramCounts>(histogram->counts));
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
        const Ptr part = ofFragment(*array, name_, policy_);
        if (!part) ++missing_;
        if (part) add(*part);
        return true;
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
    Ptr sum_; // null: nothing was counted yet
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
