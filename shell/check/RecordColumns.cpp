// SPDX-License-Identifier: Apache-2.0
#include "check/RecordColumns.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>

namespace corvane {

RecordColumns::RecordColumns(const LasFile& las, Kesh::LimitPtr limit, const std::vector<std::string>& dimensions)
    : las_(las), limit_(std::move(limit)), named_(dimensions.size()), wanted_{{0, 3 * sizeof(std::int32_t)}} {
    for (const std::string& name : dimensions) want(name);
    if (limit_)
        for (const std::string& name : limit_->fields()) want(name);
    numbers_.resize(dimensions_.size());
}

void RecordColumns::want(const std::string& name) {
    for (std::size_t i = 0; i < las_.dimensions.size(); ++i)
        if (sameName(las_.dimensions[i].name, withoutAlias(name))) {
            dimensions_.push_back(las_.asRead(i));
            wanted_.push_back(dimensions_.back().place());
            return;
        }
    std::vector<std::string> names;
    for (const Dimension& dimension : las_.dimensions) names.push_back(dimension.name);
    throw UsageError(
        fmt::format("{}: there is no field \"{}\". {}", las_.file->path(), name, suggestNames(name, names)));
}

void RecordColumns::take(std::span<const std::byte> records) {
    const std::size_t stride = las_.points->recordLength(), count = records.size() / stride;
    positions_.resize(count);
    decodePositions(records, stride, las_.header, std::span(positions_));
    for (std::size_t i = 0; i < dimensions_.size(); ++i) {
        numbers_[i].resize(count);
        decodeNumbers(records, stride, dimensions_[i], std::span(numbers_[i]));
    }
    if (limit_) {
        Kesh::PointColumns columns{positions_, {}};
        for (std::size_t i = named_; i < numbers_.size(); ++i) columns.fields.emplace_back(numbers_[i]);
        return limit_->select(columns, selected_);
    }
    if (selected_.size() == count && !narrowed_) return;
    narrowed_ = false;
    selected_.resize(count);
    std::iota(selected_.begin(), selected_.end(), 0U);
}

} // namespace corvane
