#pragma once

#include <cstddef>
#include <string_view>

/// Measures in pixels, and the style sheet, of the drawn map.
namespace Look::Style {

inline constexpr double pageWidth = 1080;
inline constexpr double margin = 24;
inline constexpr double rightX = pageWidth - margin;
inline constexpr double collectionX = 40;
inline constexpr double nameX = 48; ///< of chunks
inline constexpr double barX = 352;
inline constexpr double barLength = 300; ///< of the longest bar
inline constexpr double sizeEndX = 724;
inline constexpr double addressX = 746;
inline constexpr double numberX = 794;
inline constexpr double lineHeight = 15;
inline constexpr double mostLegendLength = 300; ///< of one entry
inline constexpr double bold = 1.15;            ///< how much wider bold letters are

inline constexpr std::size_t mostNameCharacters = 40;
inline constexpr std::size_t mostUsers = 8; ///< of one chunk that are drawn and named

/// The page is opaque, so that it looks the same in light and in dark viewers.
inline constexpr std::string_view definitions = R"svg(<style>
text { font: 12px system-ui, "Segoe UI", "DejaVu Sans", sans-serif; fill: #1c2733; }
.title { font-size: 20px; font-weight: 600; }
.mount { font-size: 14px; font-weight: 600; }
.collection { font-size: 13px; font-weight: 600; }
.note { font-size: 11px; fill: #52606d; }
.name, .address { font-family: ui-monospace, "DejaVu Sans Mono", Consolas, monospace; }
.address { font-size: 11px; }
.warning { font-size: 11px; font-weight: 600; fill: #b3261e; }
.page { fill: #ffffff; stroke: #c8d0d8; }
.band { fill: #e8edf2; }
.chunk { fill: #f1f4f7; stroke: #7b8794; }
.ordinary { fill: url(#hatch); stroke: #7b8794; }
.entry { stroke: #ffffff; stroke-width: 0.75; }
.badge { fill: #fdecea; stroke: #b3261e; }
.grid { stroke: #d5dce3; stroke-dasharray: 2 3; }
.rule { stroke: #d5dce3; }
</style>
<defs><pattern id="hatch" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect width="2" height="6" fill="#1c2733" fill-opacity="0.5"/></pattern></defs>
)svg";

} // namespace Look::Style
