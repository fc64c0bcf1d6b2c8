// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"
#include "survey/Survey.hpp"
#include "json/JsonReader.hpp"

namespace corvane {

/// The brush that a stroke of a network file describes (docs/network.md): a view, one kind of outline, and a range of
/// depth. Throws UsageError with the place of what does not suit.
Kesh::Brush readStroke(const JsonReader& stroke, const Survey& survey);

} // namespace corvane
