#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// An inspection as it was planned. Lengths are metres, angles radians and coordinates those of the
/// part's frame at its reference temperature, whatever units the plan's file has.

namespace libmfx::inspection {

using Eigen::Vector3d;
using nlohmann::json;

/// The units of a plan's file, and of what is written for people.
struct Units {
  std::string length = "mm";  ///< "mm", "m" or "in"
  std::string angle = "deg";  ///< "deg" or "rad"

  double Length() const;  ///< metres in one of them
  double Angle() const;   ///< radians in one of them
};

/// What is known of the part.
struct PartTold {
  std::string name;
  std::string number;
  std::string material;
  double expansion = 0.0;               ///< 1/K
  double temperature = 20.0;            ///< degrees Celsius, while it is measured
  double reference_temperature = 20.0;  ///< the one that its nominals are told for (ISO 1: 20)

  /// How much longer everything is than at the reference temperature: 1 and a little.
  double Growth() const { return 1.0 + expansion * (temperature - reference_temperature); }
};

/// Where the instrument stands, roughly.
struct Station {
  std::string name;
  /// Takes points of the part's frame into the instrument's; none: unknown.
  std::optional<Eigen::Isometry3d> pose;
  double position_off = 0.0;  ///< m: the part's origin lies no farther from where the pose tells
  double angle_off = 0.0;     ///< radians: nor is the part turned more against it
  /// Of an unknown pose: where to look for the references.
  double within = 2.0;               ///< m: they are no farther from the instrument
  double azimuth[2] = {0.0, 0.0};    ///< radians, from and to
  double elevation[2] = {0.0, 0.0};  ///< the same
};

/// A feature of the part.
struct PlannedFeature {
  std::string name;
  std::string type;  ///< "$type" of its requests: "HoleFeature"
  /// Its whole request, coordinates in the part's frame. A host moves it into the instrument's
  /// frame before it hands it to the library.
  json request;
  std::vector<std::size_t> stations;  ///< from which it may be measured, in this order; not empty
  std::string at;                     ///< JSON pointer of where the plan tells it

  Vector3d place = Vector3d::Zero();  ///< nominal, m: "Location", of an edge its "EdgePoint"
  /// Unit vectors, zero where the type has none. `direction` is "Normal" or "Axis", of an edge the
  /// normal of its surface, of a ball none; `tangent` is "Tangent", a polygon's "Axis", of an edge
  /// the way across the border out of the material.
  Vector3d direction = Vector3d::Zero();
  Vector3d tangent = Vector3d::Zero();
  /// Nominal sizes, NaN where the type has none. Of a hole and a ball no measurement tells the
  /// radius.
  double length = 0.0, width = 0.0, radius = 0.0;

  /// Projects onto the directions in which the place is measured: all three of a ball or an
  /// opening; across the axis of a stud or a bore; along the normal of a surface point; across the
  /// border of an edge; none of a free path.
  Eigen::Matrix3d MeasuredDirections() const;
};

/// A feature that the part is found by.
struct Reference {
  std::size_t feature = 0;
  double tolerance = 0.0;  ///< m: how far its place may be off the nominal
};

/// A datum: what one or more features leave of the part's freedom, in the plan's order.
struct Datum {
  enum class Kind {
    kPlane,  ///< along the nominal direction alone
    kLine,   ///< across the nominal direction
    kPoint   ///< all that is measured of the place
  };
  std::string name;
  Kind kind = Kind::kPoint;
  std::vector<std::size_t> features;
  Vector3d direction = Vector3d::Zero();  ///< of a plane or a line, a unit vector
};

/// How the part's frame is laid through what was measured.
struct AlignmentPlan {
  enum class Method { kReferences, kDatums, kBestFit };
  Method method = Method::kReferences;
  std::vector<std::size_t> features;  ///< of a best fit
  bool scales = false;                ///< sizes and places are told for the reference temperature
};

/// What is asked about features.
struct Characteristic {
  enum class Kind {
    kSize,           ///< a diameter, length or width
    kCoordinate,     ///< the place of a feature along one axis of the part's frame, or its normal
    kPosition,       ///< ISO 1101: diameter of the zone about the nominal place that holds it
    kDistance,       ///< between two features
    kAngle,          ///< between the directions of two features
    kFlatness,       ///< ISO 1101: least distance of two parallel planes that hold all places
    kCoplanarity,    ///< the same of places on several surfaces
    kConcentricity,  ///< ISO 1101: diameter of the zone about the first one's axis that holds the
                     ///< other
    kPattern         ///< position of each of a group, after the group was laid onto its nominals
  };
  std::string name;
  Kind kind = Kind::kSize;
  std::vector<std::size_t> features;
  /// Of a size "diameter", "length" or "width"; of a coordinate "x", "y", "z" or "normal"; of a
  /// distance empty, or "x", "y", "z": along that axis alone; of an angle the two "direction" or
  /// "tangent" with a comma between them; else empty.
  std::string quantity;
  bool is_angle = false;  ///< radians instead of metres
  double nominal = 0.0;
  double lower = 0.0;  ///< of the value, not of its deviation; -infinity where there is no limit
  double upper = 0.0;
  std::string at;  ///< JSON pointer of where the plan tells it

  /// A zone has a tolerance and no sense: its value is never negative, and its nominal is 0.
  bool IsZone() const;
};

/// The name of a kind as a plan spells it: "size", "coordinate", ...
std::string_view KindName(Characteristic::Kind kind);
std::optional<Characteristic::Kind> KindOf(std::string_view name);

struct Plan {
  Units units;
  PartTold part;
  std::vector<Station> stations;  ///< at least one
  std::vector<PlannedFeature> features;
  std::vector<Reference> references;
  std::vector<Datum> datums;
  AlignmentPlan alignment;
  std::vector<Characteristic> characteristics;

  std::optional<std::size_t> Find(std::string_view feature) const;
};

}  // namespace libmfx::inspection
