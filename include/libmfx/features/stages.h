#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"
#include "libmfx/geometry/polynomial_2d.h"
#include "libmfx/geometry/wall_form.h"

/// \file
/// What an analysis made of its samples, stage by stage. Lengths are metres, angles radians,
/// coordinates in the instrument's frame unless told otherwise.

namespace libmfx::features {

/// What became of a sample.
enum class SampleFate : std::uint8_t {
  kUnusable,  ///< below the quality threshold, of a quality that stands out, or not finite
  kBetween,   ///< of a move that leads to a line, of a line that takes no part, or never judged
  kFar,       ///< too far from the nominal to be looked at
  kDropped,   ///< does not agree with what was fitted
  kLeftOut,   ///< agrees with it, and the last fit does without it
  kSurface,   ///< of the surface around the feature, which a fit rests on
  kWall,      ///< of the wall of a bore or a stud, which a fit rests on
  kFitted     ///< of what is measured itself, which the fit rests on
};

/// A scan line that took part.
struct StageLine {
  int segment;  ///< the number that its samples carry
  int side;     ///< of an outline, an arc or a quadrant; 0 where there are none
  int sense;    ///< +1: from outside of the outline to inside, -1: to outside, 0: neither
};

/// The point of the border that a scan line shows.
struct StageEdge {
  int segment;                       ///< of the line
  data_structures::PointXYZW place;  ///< on the surface
};

/// A test that the measurement was put to.
struct StageVerdict {
  const char* what;  ///< "angle to the nominal normal", for instance
  double value;
  double limit;
  bool passed;
};

/// A size that a fit found, whatever the result states of it.
struct StageSize {
  const char* what;  ///< "Radius", or "RimRadius" of a hole, where a chamfer meets the surface
  double value;
};

/// The profile of a border, as one scan line shows it. A stage that was not reached leaves its part
/// empty.
struct StageProfile {
  data_structures::PointCloud selected;  ///< samples of the line, as measured
  data_structures::PointCloud smoothed;  ///< the same, smoothed for the split
  long long split_index = -1;
  geometry::Plane cross_section;             ///< tangent along the surface, bitangent out of it
  data_structures::PointXYZW surface_point;  ///< of the measured surface, in the section
  data_structures::VectorXYZW surface_direction;  ///< unit, towards the border, in the section
  data_structures::VectorXYZW surface_normal;     ///< unit, square to it, in the section
  double surface_scatter = 0.0;                   ///< standard deviation of the samples about it
  double level = 0.0;      ///< depth below the surface at which the edge is, along it
  double off_level = 0.0;  ///< depth of the sample taken for the edge, from the level
  double alike = 0.0;      ///< along the surface to the farthest sample as near the level
  data_structures::PointXYZW nominal;  ///< the edge point that this pass looked for
  data_structures::PointXYZW middle;   ///< origin of the polynomial
  double reach = 0.0;                  ///< it holds within this distance of the middle
  /// Distance across from distance along; the axes are a quarter turn apart, each half a right
  /// angle off the surface: along = (direction - normal) / sqrt 2, across = -(direction + normal)
  /// / sqrt 2.
  geometry::Polynomial2D polynomial;
};

/// The record of one analysis: empty before it, and cut short where it failed.
struct Stages {
  std::vector<SampleFate> fates;  ///< of each sample of GetRawData(), in its order
  std::vector<int> parts;  ///< of each sample, where a fit has parts: its number, -1: of none
  std::vector<StageLine> lines;
  std::optional<geometry::Plane> surface;  ///< normal to the side of the instrument
  std::vector<StageEdge> edges;
  std::optional<StageProfile> profile;     ///< of an edge alone
  std::vector<StageSize> fitted;           ///< sizes for which the result repeats the nominal
  std::optional<geometry::WallForm> form;  ///< of a stud's or a bore's wall that is smooth
  std::vector<StageVerdict> verdicts;  ///< in the order of the tests; the last one may have failed
};

}  // namespace libmfx::features
