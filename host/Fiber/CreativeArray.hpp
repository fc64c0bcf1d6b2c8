// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/MemBase.hpp"
#include "Holdfast/Ageable.hpp"
#include "Holdfast/Attributes.hpp"
#include "Holdfast/Cache.hpp"
#include "Holdfast/Creature.hpp"
#include "Holdfast/Intercube.hpp"
#include "Holdfast/TimeBudget.hpp"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <typeinfo>

namespace Fiber {

/// Makes the values of one fragment, for instance by reading them from a file. Called from any thread; may throw.
class ArraySource : public Holdfast::Managed {
public:
    virtual Holdfast::StrongPtr<MemBase> make() const = 0;

    /// Whether all values are zero, so that nobody has to look.
    virtual bool allZero() const { return false; }
};

/// One fragment of a field: element type, number of elements, age and attributes, and the values when they are
/// resident.
///
/// Rules: values come from memory (given at construction, never dropped) or from a source (made when asked for, and
/// dropped again when the cache is short of memory). Only the values go; age, attributes and interfaces stay, and
/// neither loading nor dropping changes them. Values that somebody holds are not dropped. Loading is thread safe;
/// everything else belongs to the update thread.
class CreativeArrayBase : public Holdfast::Creature, public Holdfast::Ageable {
public:
    /// Values that are made on demand, `size` of `elementType`, looked after by `cache`.
    CreativeArrayBase(const std::type_info& elementType, std::size_t size, Holdfast::StrongPtr<ArraySource> source,
                      Holdfast::StrongPtr<Holdfast::Cache> cache);

    /// Values in memory.
    explicit CreativeArrayBase(Holdfast::StrongPtr<MemBase> values);

    /// To be kept by others.
    Holdfast::WeakPtr<CreativeArrayBase> pointer() { return self<CreativeArrayBase>(); }

    const std::type_info& getFiberType() const { return elementType_; }
    std::size_t size() const { return size_; }

    bool hasData() const override;
    bool discardCreation() override;
    void enableCaching(bool enabled) override;

    /// The values when they are resident, else empty. Reading never copies.
    Holdfast::StrongPtr<const MemBase> residentData() const;

    /// The values, made if they have to be. With an immediate budget that is left to the background, and empty is
    /// returned for now. What the source throws is thrown here, or at the next call when it happened in the background.
    Holdfast::StrongPtr<const MemBase> getData(const Holdfast::TimeBudget& budget = {});

    /// Values that were made as the source would make them, together with those of other arrays. Who was quicker wins.
    void take(const Holdfast::StrongPtr<MemBase>& made);

    /// What makes the values; empty when they came from memory.
    const Holdfast::StrongPtr<ArraySource>& source() const { return source_; }

    /// From now on the values can be made again by this source, and may leave memory. Belongs to the update thread.
    void becomeRemakeable(const Holdfast::StrongPtr<ArraySource>& source);

    /// Has the values made in the background, for who asks for them next; who does hears of a failure.
    void loadAhead();

    /// The values for writing, of an array that is in memory and nobody else's. Empty when they are not of type T.
    template <class T>
    Holdfast::StrongPtr<MemArray<T>> writableData() {
        return source_ ? nullptr : Holdfast::cast<MemArray<T>>(values_);
    }

    /// The same, of whatever type; empty when they are not in memory.
    Holdfast::StrongPtr<MemBase> writableValues() { return source_ ? nullptr : values_; }

    /// An array with its own copy of the values, to be written: without attributes and interfaces, as young as this
    /// one. Loads them.
    Holdfast::StrongPtr<CreativeArrayBase> privateCopy();

    /// Whether all values are zero, as far as that is known without making them.
    bool knownZero() const { return source_ && source_->allZero(); }

    /// Who looks after the values; empty for nobody.
    const Holdfast::StrongPtr<Holdfast::Cache>& cache() const { return cache_; }

    /// Tells the cache that the values are in use.
    void markAsUsed() const;

    /// Notes that the values changed at the given time.
    void touch(Age time) { raiseAge(time); }

    Holdfast::Attributes& attributes() { return attributes_; }
    Age attributeAge() const { return attributeAge_; }
    void updateAttributeAge(Age age) { attributeAge_ = age; }

    Holdfast::Intercube& interfaces() { return interfaces_; }

private:
    Holdfast::StrongPtr<MemBase> load();
    Holdfast::StrongPtr<MemBase> enter(const Holdfast::StrongPtr<MemBase>& made);
    void rethrowFailure();
    void loadQueued();
    Holdfast::StrongPtr<MemBase> waitedFor();

    const std::type_info& elementType_;
    std::size_t size_;
    Holdfast::StrongPtr<ArraySource> source_;
    Holdfast::StrongPtr<Holdfast::Cache> cache_;
    mutable std::mutex mutex_; // guards the four below
    Holdfast::StrongPtr<MemBase> values_;
    enum class Background { Idle, Queued, Loading } background_ = Background::Idle;
    std::condition_variable loaded_; // in the background, or failed to
    std::exception_ptr failure_;     // of loading in the background
    Holdfast::Attributes attributes_;
    std::atomic<Age> attributeAge_ = Ooooold; // a box may be noted by who loads other values
    Holdfast::Intercube interfaces_;
};

} // namespace Fiber
