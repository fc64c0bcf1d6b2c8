// SPDX-License-Identifier: Apache-2.0
// Fragments in memory, as a survey would hand them over, and what the store and the renderer told.
#pragma once

#include "render/PointStore.hpp"

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <random>
#include <stdexcept>
#include <vector>

namespace corvane::test {

using Point = Sextant::PhysicalSpace::point;
using Points = std::vector<Point>;

constexpr double Unit = 0.01;

template <class T>
PointStore::Array arrayOf(const std::vector<T>& values) {
    const auto array = Holdfast::create<Fiber::MemArray<T>>(values.size());
    std::ranges::copy(values, array->writableValues().begin());
    return Holdfast::create<Fiber::CreativeArrayBase>(Holdfast::StrongPtr<Fiber::MemBase>(array));
}

/// An array whose values cannot be loaded.
inline PointStore::Array brokenArray(std::size_t size, const std::string& message) {
    struct Broken : Fiber::ArraySource {
        explicit Broken(std::string text) : message(std::move(text)) {}
        Holdfast::StrongPtr<Fiber::MemBase> make() const override { throw std::runtime_error(message); }
        std::string message;
    };
    return Holdfast::create<Fiber::CreativeArrayBase>(typeid(Point), size, Holdfast::create<Broken>(message), nullptr);
}

/// Strips side by side, each 20 m wide and 100 m long.
inline std::vector<Points> strips(std::size_t count, std::size_t each) {
    std::vector<Points> fragments;
    for (std::size_t f = 0; f < count; ++f) {
        std::mt19937 random(static_cast<unsigned>(f));
        const auto part = [&](double size) {
            return Unit * std::round(std::uniform_real_distribution<double>(0, size)(random) / Unit);
        };
        Points& points = fragments.emplace_back();
        for (std::size_t i = 0; i < each + f; ++i)
            points.push_back({500'000 + 20.0 * double(f) + part(20), 5'200'000 + part(100), 400 + part(5)});
    }
    return fragments;
}

inline std::uint8_t classAt(std::size_t fragment, std::size_t point) {
    return static_cast<std::uint8_t>((fragment * 5 + point) % 7);
}

inline PointStore::Array classesOf(std::size_t fragment, std::size_t count, std::uint8_t more = 0) {
    std::vector<std::uint8_t> classes;
    for (std::size_t i = 0; i < count; ++i) classes.push_back(std::uint8_t(classAt(fragment, i) + more));
    return arrayOf(classes);
}

inline std::vector<PointStore::Source> sourcesOf(const std::vector<Points>& fragments) {
    std::vector<PointStore::Source> sources;
    for (std::size_t f = 0; f < fragments.size(); ++f)
        sources.push_back({static_cast<std::uint32_t>(f),
                           arrayOf(fragments[f]),
                           {{column::Class, {classesOf(f, fragments[f].size())}}},
                           std::nullopt});
    return sources;
}

/// Waits for what other threads tell.
class Told {
public:
    void tell(const std::string& text = "") {
        {
            const std::lock_guard lock(mutex_);
            if (!text.empty()) texts_.push_back(text);
        }
        changed_.notify_all();
    }

    /// False when it does not come true in half a minute.
    template <class Condition>
    bool until(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            std::unique_lock lock(mutex_);
            changed_.wait_for(lock, std::chrono::milliseconds(5));
            if (std::chrono::steady_clock::now() > end) return false;
        }
        return true;
    }

    std::vector<std::string> texts() {
        const std::lock_guard lock(mutex_);
        return texts_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> texts_;
};

inline bool complete(const PointStore& store) { return store.stock()->complete; }

} // namespace corvane::test
