#include <cmath>
#include <numbers>
#include <ostream>

#include "features/shared/directions.h"
#include "features/shared/feature_class.h"
#include "libmfx/features/hole.h"
#include "messages/request.h"
#include "messages/text.h"

namespace libmfx::features {

Hole::Hole() = default;

Hole::Hole(std::string json) : Hole(messages::Request(json)) {}

Hole::Hole(const messages::Request& request) {
  if (ReadRequest(request)) DeriveFromRequest();
}

shared::RequestKeys Hole::RequestTable() {
  return shared::RequestKeys(&Hole::_scan_origin)
      .Unreadable("jsonRoot is Nothing")
      .Root("ClearanceZone", &Hole::_clearance_zone, "ScanLines", &Hole::_scan_lines,
            "PointSpacing", &Hole::_point_spacing, "ScanQualityThreshold",
            &Hole::_quality_threshold, "ChamferDepth", &Hole::_chamfer_depth, "ChamferAngle",
            &Hole::_chamfer_angle)
      .SearchAndRescan()
      .Need({"Location", "Radius"}, "Request does not contain nominal location and/or radius!")
      .Nominal("Radius", &Hole::_radius, "Location", &Hole::_input_center_pt, "Normal",
               &Hole::_input_normal);
}

void Hole::DeriveFromRequest() {
  _nominal_radius = _radius;
  if (_input_normal.isZero(shared::kZeroDirection)) {
    // Without a normal of its own the hole is taken to face the instrument; unlike a fitted normal
    // this one points away from it.
    _input_normal = shared::UnitFromTo(_scan_origin, _input_center_pt);
  } else {
    _logger[log::LOG_LEVEL_1] << "use nominal _input_normal: " << messages::TextOf(_input_normal)
                              << std::endl;
    _input_normal.normalize();
  }
  const double angle = std::abs(_chamfer_angle) >= std::numbers::pi / 2 ? 0.0 : _chamfer_angle;
  _chamfer_offset = std::tan(angle) * _chamfer_depth;
  _radius += _chamfer_offset;
  _has_chamfer = _chamfer_offset > 0.0;
  _use_fast_star = _radius > _clearance_zone;
  _isolation_radius = 5.0 * _point_spacing;
}

shared::Settings Hole::SettingsTable() {
  // "NominalRadius" is the working radius: a host that sets it leaves the radius of the search
  // alone.
  return shared::Settings("RobustHole", L"Robust Hole")
      .Nominal(L"NominalPoint", &Hole::_input_center_pt, L"NominalNormal", &Hole::_input_normal,
               L"NominalRadius", &Hole::_radius)
      .Parameter(L"NumScanLines", &Hole::_scan_lines, L"ClearanceZone", &Hole::_clearance_zone,
                 L"PointSpacing", &Hole::_point_spacing, L"QualityThreshold",
                 &Hole::_quality_threshold)
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &Hole::_idc_method, L"ChamferDepth", &Hole::_chamfer_depth,
                 L"ChamferAngle", &Hole::_chamfer_angle)
      .Result(L"MeasuredPoint", &Hole::_measured_center, L"MeasuredNormal", &Hole::_measured_normal,
              L"Quality", &Hole::_quality, L"Radius", &Hole::_measured_radius);
}

shared::SearchNominal Hole::SearchTable() {
  const auto reach = shared::NumberOf(+[](const Hole& hole) {
    return 2.0 * hole._nominal_radius * hole._search_radius_multiplier;
  });
  const auto opening =
      shared::NumberOf(+[](const Hole& hole) { return 2.0 * hole._nominal_radius; });
  return {&Hole::_input_center_pt,
          &Hole::_input_normal,
          &Hole::_quality_threshold,
          &Hole::_scan_origin,
          reach,
          reach,
          opening};
}

const shared::FeatureClass& Hole::Class() const {
  static const auto hole = shared::MakeClass<Hole>(SettingsTable(), RequestTable(), PlanTable(),
                                                   ResultTable(), SearchTable());
  return hole;
}

std::shared_ptr<win32_support::FeatureDescriptor> Hole::FeatureDescriptor() {
  return shared::DescriptorOf<Hole>();
}

}  // namespace libmfx::features
