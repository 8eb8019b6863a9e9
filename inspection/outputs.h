#pragma once

#include <string>

#include "inspection/folder.h"
#include "inspection/sheet.h"

namespace libmfx::inspection {

/// Writes result.json, result.csv, result.qif, points.ply and report.html into the folder, each
/// whole or not at all.
/// \throws host::CallError if one cannot be written
void WriteSheet(const Sheet& sheet, const Folder& folder);

/// The sheet as a text for a terminal: a line a characteristic and one for the whole, without the
/// last line's end.
std::string SheetText(const Sheet& sheet);

}  // namespace libmfx::inspection
