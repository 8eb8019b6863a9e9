#include <ostream>

#include "features/shared/feature_class.h"
#include "features/shared/trace.h"
#include "libmfx/features/pvi.h"
#include "messages/request.h"

namespace libmfx::features {

PVI::PVI() { _high_speed_allowed = false; }

PVI::PVI(std::string json) : PVI(messages::Request(json)) {}

PVI::PVI(const messages::Request& request) : PVI() {
  ReadRequest(request);
  // A text that is no request has told nothing.
  if (request.ok()) shared::Trace() << "DistanceThreshold: " << _distance_threshold << std::endl;
}

shared::RequestKeys PVI::RequestTable() {
  return shared::RequestKeys(&PVI::_scan_origin)
      .Root("BoxDimension", shared::RequestKey(&PVI::_box_dimension, shared::Rule::kIfPositive),
            "NumberOfScanLines", &PVI::_number_of_scan_lines, "NumberOfPoints",
            &PVI::_number_of_points, "QualityThreshold", &PVI::_quality_threshold, "AngleThresh",
            &PVI::_angle_thresh, "Nom2MeasAngCheck", &PVI::_nominal_to_measured_angle,
            "DistanceThreshold", &PVI::_distance_threshold)
      .Rescan()
      .Need({"Location", "Normal"}, "Request does not contain nominal location and/or normal!")
      .Nominal("Location", &PVI::_nominal_point)
      .Unit("Normal", &PVI::_nominal_normal, "Nominal normal is zero!");
}

shared::Settings PVI::SettingsTable() {
  constexpr int kPoint = win32_support::SETTING_POINT_XYZ;
  return shared::Settings("PVI", L"Plane-Vector Intersect")
      .Nominal(L"NominalPoint", &PVI::_nominal_point, L"NominalNormal",
               shared::Setting(&PVI::_nominal_normal, kPoint))
      .Parameter(L"BoxDimension", &PVI::_box_dimension, L"NumberOfScanLines",
                 &PVI::_number_of_scan_lines, L"NumberOfPoints", &PVI::_number_of_points,
                 L"QualityThreshold", &PVI::_quality_threshold, L"MaxIterations",
                 &PVI::_max_iterations, L"AngleThresh", &PVI::_angle_thresh, L"MinScanTimeOut",
                 &PVI::_min_scan_timeout, L"MaxFiltertPrct", &PVI::_max_filter_percentage,
                 L"RangeFilterMultiplier", &PVI::_range_filter_multiplier, L"Nom2MeasAngCheck",
                 &PVI::_nominal_to_measured_angle, L"FilterCutRatio", &PVI::_filter_cut_ratio,
                 L"ScanElevation", &PVI::_scan_elevation)
      .SearchAndRescan()
      .Parameter(L"DistanceThreshold", &PVI::_distance_threshold, L"IDCMethod", &PVI::_idc_method)
      .Result(L"MeasuredPoint", &PVI::_measured_point, L"MeasuredNormal",
              shared::Setting(&PVI::_measured_normal, kPoint), L"Quality", &PVI::_quality);
}

const shared::FeatureClass& PVI::Class() const {
  static const auto pvi =
      shared::MakeClass<PVI>(SettingsTable(), RequestTable(), PlanTable(), ResultTable());
  return pvi;
}

std::shared_ptr<win32_support::FeatureDescriptor> PVI::FeatureDescriptor() {
  return shared::DescriptorOf<PVI>();
}

}  // namespace libmfx::features
