#pragma once

#include <string>

#include "inspection/sheet.h"

/// \file
/// A sheet as files. Lengths and angles are those of the plan's units, but in points.ply and
/// result.qif, which tell their own. The same sheet gives the same bytes on every machine.

namespace libmfx::inspection {

/// By the schema "inspection-result"; docs/inspection.md tells its keys.
std::string ResultJson(const Sheet& sheet);

/// One line a characteristic (RFC 4180, decimal points), a line of names first.
std::string ResultCsv(const Sheet& sheet);

/// QIF 3.0 (ISO 23952) Results: the plan's features and characteristics with their nominals and
/// tolerances, what was measured of them, uncertainties and statuses.
std::string ResultQif(const Sheet& sheet);

/// The samples of all features that were measured and the measured places, in the part's frame and
/// metres, with the feature's index and colours by verdict.
std::string PointsPly(const Sheet& sheet);

/// One page for people that needs no network: the sheet to sign, the part with its deviations, the
/// table, a section a feature.
/// \param pictures of each feature, inside of an HTML document; empty where there are none
std::string InspectionPage(const Sheet& sheet, const std::vector<std::string>& pictures);

}  // namespace libmfx::inspection
