// SPDX-License-Identifier: Apache-2.0
// Sizes on a page of points. The panels' must be known before the points are drawn, so they do not depend on how wide
// texts are.
#pragma once

namespace corvane::layout {

// Pixels.
constexpr int Margin = 40, TitleHeight = 48, LineHeight = 34, Gap = 28;
constexpr int PanelTitleHeight = 40, UpAxisWidth = 150, AcrossAxisHeight = 84;
constexpr int LegendWidth = 580, LegendRowHeight = 34, RampHeight = 30, FootnoteHeight = 28;
constexpr int TitleSize = 32, TextSize = 22, TickSize = 19, FootnoteSize = 18;

} // namespace corvane::layout
