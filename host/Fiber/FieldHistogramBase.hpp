// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Field.hpp"
#include "Holdfast/TimeBudget.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Fiber {

/// What counting a field may do. As a time budget: how long it may take; with an immediate one, what is not resident is
/// left to the background.
struct HistogramPolicy : Holdfast::TimeBudget {
    using TimeBudget::TimeBudget;

    bool load = false;  ///< may ask for values that are not resident
    bool store = false; ///< may keep the results with the data, for whoever counts next

    /// Hears of the work now and then; false stops it. Empty: nobody does.
    using Reporter = std::function<bool(const std::string& text, std::uint64_t done, std::uint64_t total)>;
    Reporter report;
};

/// One counter per value, where they can be an attribute of data and count in the budget of its cache.
class HistogramCounts : public Holdfast::Chunk<std::uint64_t>, public Holdfast::Cacheable {
public:
    explicit HistogramCounts(std::size_t bins);
    std::size_t bytes() const override;

private:
    friend class FieldHistogramBase;
    Holdfast::StrongPtr<Holdfast::Creature> keeper_; // what the cache asks to let go; none when not kept with data
};

/// How often each value of a field occurs, whatever its type, and minimum, maximum and sum of a second quantity for
/// each value, if one was asked for. The age is that of the data that was counted.
///
/// The lists run in the order of the occurring values; those of the second quantity are empty without one.
class FieldHistogramBase : public Holdfast::Managed, public Holdfast::Ageable {
public:
    FieldHistogramBase() = default;

    /// As old as what it was counted from.
    explicit FieldHistogramBase(const Holdfast::Ageable& data);

    virtual std::string secondaryName() const = 0;
    virtual std::vector<std::uint32_t> occurringValues() const = 0;
    virtual std::vector<std::uint64_t> occurringCounts() const = 0;
    virtual std::vector<double> occurringMinimum() const = 0;
    virtual std::vector<double> occurringMaximum() const = 0;
    virtual std::vector<double> occurringSum() const = 0;

    /// How many elements were counted.
    virtual std::uint64_t total() const = 0;

    /// The values with their counts, for people.
    virtual std::string text() const = 0;

    /// Keeps a histogram and its counters with the array that they were counted from, as an interface and as the
    /// attribute of that name, until the array's cache is short of memory and has no values to drop.
    static void keepWith(CreativeArrayBase& array, const std::string& attribute,
                         const Holdfast::StrongPtr<FieldHistogramBase>& histogram,
                         const Holdfast::StrongPtr<HistogramCounts>& counts);

    /// Records with the field how the count stored under the name came about, in the place of an earlier record.
    static void setCompleteness(Field& field, const std::string& name, std::uint64_t fragments, std::uint64_t missing);

    /// Whether the record says that no fragment was missing; false without a record.
    static bool isComplete(Field& field, const std::string& name);
};

/// The attribute that holds the counts of the field of this name: one unsigned integer of 64 bits per possible value.
std::string HistogramAttributeName(const std::string& name);

} // namespace Fiber
