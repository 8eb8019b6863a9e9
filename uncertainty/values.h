#pragma once

#include <Eigen/Core>
#include <string>
#include <string_view>
#include <vector>

#include "libmfx/measurement/measurement.h"

namespace libmfx::uncertainty {

using Eigen::Vector3d;

/// What a quantity is, which decides how its errors are told.
enum class Kind {
  kPlace,      ///< three coordinates, metres, in the instrument's frame
  kDirection,  ///< three components of a unit vector, in the instrument's frame
  kSize        ///< one length, metres
};

/// A quantity of a result message under its key, or what is true of it.
struct Value {
  std::string key;
  Kind kind = Kind::kSize;
  Eigen::VectorXd numbers;  ///< three, of a size one
};
using Values = std::vector<Value>;

/// One of them by its key; null if there is none.
const Value* Find(const Values& values, std::string_view key);

/// What a success measured, in full precision and in the order of the message. What the result
/// repeats from the request is left out, as it was not measured, and so is a quality.
Values MeasuredValues(const measurement::Measurement& measurement);

/// The keys of what the result of a request repeats from it: "Radius" of a hole and of a ball, what
/// "FixAxis" and "FixRadius" hold.
std::vector<std::string> RepeatedKeys(const std::string& request);

}  // namespace libmfx::uncertainty
