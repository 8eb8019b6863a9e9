#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inspection/sheet.h"

/// \file
/// The parts of the page of an inspection that are words and numbers, as HTML. All that comes from
/// outside is escaped, but the pictures of a feature.

namespace libmfx::inspection::page {

/// The sheet to sign: verdict, where everything comes from, all characteristics, a signature.
std::string FirstPage(const Sheet& sheet);

/// A row a characteristic, with a bar that shows where in its tolerance it lies.
std::string CharacteristicsTable(const Sheet& sheet);

/// The bar of a characteristic as SVG: the tolerance, what was measured and its interval; empty
/// where it was not measured or has no limit. What lies outside of the picture is an arrowhead at
/// its end.
std::string ZoneBar(const Characteristic& characteristic, const CharacteristicResult& result);

/// The section of a feature.
/// \param asked the characteristics that it takes part in
/// \param pictures HTML, or empty
std::string FeatureSection(const Sheet& sheet, std::size_t feature,
                           const std::vector<std::size_t>& asked, const std::string& pictures);

}  // namespace libmfx::inspection::page
