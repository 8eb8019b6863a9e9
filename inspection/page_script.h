#pragma once

namespace libmfx::inspection::page {

/// How the sheet looks, beside report's kPageStyle and kPlotStyle, which come before it.
extern const char* const kSheetStyle;

/// Turns the pictures of the part. It draws the marks of "part-data" into the elements of class
/// "mark" that are there, at first just as they stand, and shows what belongs to it.
extern const char* const kPartScript;

}  // namespace libmfx::inspection::page
