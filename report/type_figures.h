#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "libmfx/features/stages.h"
#include "report/spread.h"
#include "report/view.h"

/// \file
/// Pictures that only some feature types have. A type gets its own with one source in `types/`:
///
///   namespace {
///   std::vector<Figure> Pictures(const Measured& m) { ... }
///   const TypeFigures kStud("StudTargetResult", Pictures);
///   }
///
/// They stand after the pictures that every measurement has. Whatever is missing in a result, and
/// a failed measurement has next to nothing, is to be left out: a report never fails. They are
/// drawn from what the analysis recorded and work nothing out again but distances from what is
/// drawn.

namespace libmfx::host::report {

/// A picture with its words.
struct Figure {
  std::string title;
  std::string svg;
  std::string caption;  ///< plain text
};

/// A measurement as the pictures see it.
struct Measured {
  nlohmann::json request;  ///< null if it is no JSON
  nlohmann::json result;   ///< the message; of a hole with the radius of the fitted rim
  bool successful = false;
  const std::vector<Exchange>& exchanges;
  const features::Stages& stages;           ///< what the last analysis made of the last exchange
  std::optional<double> quality_threshold;  ///< below which the feature drops a sample
  View view;                                ///< of the last exchange
  bool radius_as_told = false;              ///< the result's radius is not a measured one
  const Spread* spread = nullptr;           ///< how sure a success is; null where it is not known

  /// Whether the analysis came to judge the samples of the last exchange.
  bool IsRecorded() const {
    return !exchanges.empty() && !stages.fates.empty() &&
           stages.fates.size() == exchanges.back().samples.size();
  }
  std::size_t Count(features::SampleFate fate) const {
    return static_cast<std::size_t>(std::count(stages.fates.begin(), stages.fates.end(), fate));
  }
};

/// One type's pictures, known to the report for as long as the program runs.
class TypeFigures {
 public:
  using Make = std::vector<Figure> (*)(const Measured& measured);

  /// \param result_type the "$type" of the result message
  TypeFigures(const char* result_type, Make make);

  /// The pictures of a measurement's type; none for a type that has none.
  static std::vector<Figure> Of(const Measured& measured);
};

/// The samples that the result holds, as cartesian points in the instrument's frame: "ScanData" in
/// either of its forms of rows. Rows that are not finite are left out.
std::vector<Eigen::Vector3d> ResultPoints(const nlohmann::json& result);

}  // namespace libmfx::host::report
