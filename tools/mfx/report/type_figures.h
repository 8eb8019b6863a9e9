#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "view.h"

/// \file
/// Pictures that only some feature types have. A type gets its own with one source in `types/`:
///
///   namespace {
///   std::vector<Figure> Pictures(const Measured& m) { ... }
///   const TypeFigures kStud("StudTargetResult", Pictures);
///   }
///
/// They stand after the pictures that every measurement has. Whatever is missing in a result, and
/// a failed measurement has next to nothing, is to be left out: a report never fails.

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
  nlohmann::json result;
  bool successful = false;
  const std::vector<Exchange>& exchanges;
  std::optional<double> quality_threshold;  ///< below which the feature drops a sample
  View view;                                ///< of the last exchange
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
