// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"
#include "survey/Survey.hpp"
#include "json/Reader.hpp"

namespace corvane {

/// The brush that a stroke of a network file describes (docs/network.md): a view, one kind of outline, and a range of
/// depth. Throws json::Error with the place of what does not suit.
Kesh::Brush readStroke(const json::Reader& stroke, const Survey& survey);

} // namespace corvane
