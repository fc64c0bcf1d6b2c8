// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/MemBase.hpp"
#include "picture/DrawnFragment.hpp"

#include <memory>
#include <span>
#include <string>

namespace corvane {

/// A column out of the values of a field, of colours three, in the order. Null where there are none, or of a type that
/// has no numbers.
std::shared_ptr<const DrawnColumn> makeColumn(const std::string& name,
                                              std::span<const Holdfast::StrongPtr<const Fiber::MemBase>> values,
                                              std::span<const std::uint32_t> order);

/// Bytes that a point takes in it.
double columnBytes(const std::string& name, const std::type_info& type);

/// The beginning of a column.
std::shared_ptr<const DrawnColumn> shortened(const DrawnColumn& column, std::size_t count);

} // namespace corvane
