// SPDX-License-Identifier: Apache-2.0
#include "Fiber/Bundle.hpp"

namespace Fiber {

using Holdfast::StrongPtr;

namespace {

template <class Map>
typename Map::mapped_type findIn(const Map& map, const typename Map::key_type& key) {
    const auto found = map.find(key);
    return found == map.end() ? nullptr : found->second;
}

template <class T, class Key>
StrongPtr<T> findOrMake(std::map<Key, StrongPtr<T>>& map, const Key& key) {
    StrongPtr<T>& place = map[key];
    if (!place) place = Holdfast::create<T>();
    return place;
}

} // namespace

StrongPtr<Grid> Slice::operator[](const std::string& name) { return findOrMake(grids_, name); }
StrongPtr<Grid> Slice::find(const std::string& name) const { return findIn(grids_, name); }
Bundle::~Bundle() = default;
StrongPtr<Slice> Bundle::operator[](double time) { return findOrMake(slices_, time); }
StrongPtr<Slice> Bundle::find(double time) const { return findIn(slices_, time); }

} // namespace Fiber
