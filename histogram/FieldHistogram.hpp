// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/FieldHistogramBase.hpp"
#include "histogram/Team.hpp"

#include <concepts>

namespace Fiber {

/// How often each value of a field of T occurs. What is counted of a fragment is kept with the fragment, as an
/// interface and as an attribute, both with the same counters, for whoever counts next; it is good as long as it is not
/// older than the fragment's values. Not changed any more once it was handed out.
template <class T>
class FieldHistogram : public FieldHistogramBase {
    static_assert(std::same_as<T, unsigned char> || std::same_as<T, unsigned short>);

public:
    static constexpr std::size_t Bins = BinsOf<T>;
    using Ptr = Holdfast::RefPtr<FieldHistogram<T>>;

    /// Nothing counted yet.
    FieldHistogram() = default;

    /// The same, as old as the data.
    explicit FieldHistogram(const Holdfast::Ageable& data) : FieldHistogramBase(data) {}

    /// Counts an array. Null when it is not one of T, or empty, or there is none. Stores nothing. The name of the field
    /// has no influence.
    static Ptr compute(const Holdfast::RefPtr<const MemBase>& data, const std::string& name);

    /// Counts a field, taking over what is stored with its fragments. Null when its elements are not T, or no fragment
    /// could be had. When the policy says so, everything counted is stored, under the field's name, with a record of
    /// how many fragments are missing. A fragment without data is none; one of another type ends the count, and those
    /// behind it are missing. Throws what loading throws.
    static Ptr retrieve(Field& field, const std::string& name, const HistogramPolicy& policy);

    std::string secondaryName() const override { return secondary; }
    std::vector<std::uint32_t> occurringValues() const override;
    std::vector<std::uint64_t> occurringCounts() const override;
    std::vector<double> occurringMinimum() const override { return occurring(minimum); }
    std::vector<double> occurringMaximum() const override { return occurring(maximum); }
    std::vector<double> occurringSum() const override { return occurring(sum); }
    std::uint64_t total() const override;

    /// "Histogram<unsigned char>{2,3}{7,5} total=8"
    std::string text() const override;

    Holdfast::StrongPtr<HistogramCounts> counts =
        Holdfast::create<HistogramCounts>(Bins); ///< one counter per possible value
    std::vector<double> minimum; ///< of the second quantity, per possible value; these three empty without one
    std::vector<double> maximum;
    std::vector<double> sum;
    std::string secondary; ///< name of the second quantity; empty: a plain count

private:
    class WholeField;
    std::vector<double> occurring(const std::vector<double>& statistic) const;
};

extern template class FieldHistogram<unsigned char>;
extern template class FieldHistogram<unsigned short>;

} // namespace Fiber
