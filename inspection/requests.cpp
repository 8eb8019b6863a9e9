#include "inspection/requests.h"

#include <Eigen/Core>
#include <optional>
#include <string>

#include "host/check_context.h"
#include "libmfx/win32_support/request_key.h"

namespace libmfx::inspection {
namespace {

using namespace win32_support;

json ArrayOf(const Vector3d& v) { return json::array({v.x(), v.y(), v.z()}); }

/// The value of a key; null where the request does not tell it.
json* ValueOf(json& request, const RequestKey& row) {
  const json::json_pointer place(host::check::PathOf(row.place, row.key));
  return request.contains(place) ? &request[place] : nullptr;
}

/// A length of the part, and not one of how it is measured.
bool Grows(const RequestKey& row) {
  return row.place == REQUEST_FEATURE && row.kind == REQUEST_NUMBER && row.unit == "m" &&
         !row.key.ends_with("Tolerance");
}

template <typename Move>
void MoveTriple(json& value, Move move) {
  if (const std::optional<Vector3d> triple = host::check::TripleOfValue(value)) {
    value = ArrayOf(move(*triple));
  }
}

}  // namespace

const FeatureDescriptor* TypeNamed(std::string_view type) {
  for (const FeatureDescriptor* known : host::check::RequestedTypes()) {
    if (known->_request_type == type) return known;
  }
  return nullptr;
}

json RequestAt(const PlannedFeature& feature, const Eigen::Isometry3d& pose, double growth) {
  json request = feature.request;
  const FeatureDescriptor* type = TypeNamed(feature.type);
  if (type == nullptr || !request.is_object()) return request;
  const auto point = [&](const Vector3d& p) -> Vector3d { return pose * (growth * p); };
  const auto turn = [&](const Vector3d& d) -> Vector3d { return pose.linear() * d; };
  for (const RequestKey& row : type->_request) {
    json* const value = ValueOf(request, row);
    if (value == nullptr) continue;
    if (row.kind == REQUEST_POINT) MoveTriple(*value, point);
    if (row.kind == REQUEST_DIRECTION) MoveTriple(*value, turn);
    if (Grows(row) && value->is_number()) *value = growth * value->get<double>();
    if (row.kind != REQUEST_SEGMENTS || !value->is_array()) continue;
    for (json& segment : *value) {
      if (!segment.is_array()) continue;
      for (json& place : segment) MoveTriple(place, point);
    }
  }
  return request;
}

}  // namespace libmfx::inspection
