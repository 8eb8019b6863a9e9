#include <ostream>

#include "features/shared/feature_class.h"
#include "features/shared/trace.h"
#include "libmfx/features/pvi.h"

namespace libmfx::features {

PVI::PVI() { _high_speed_allowed = false; }

PVI::PVI(std::string json) : PVI() {
  ReadRequest(json);
  shared::Trace() << "DistanceThreshold: " << _distance_threshold << std::endl;
}

shared::RequestKeys PVI::RequestTable() {
  return shared::RequestKeys(&PVI::_scan_origin)
      .Root("BoxDimension", &PVI::_box_dimension, shared::Rule::kIfPositive)
      .Root("NumberOfScanLines", &PVI::_number_of_scan_lines)
      .Root("NumberOfPoints", &PVI::_number_of_points)
      .Root("QualityThreshold", &PVI::_quality_threshold)
      .Root("AngleThresh", &PVI::_angle_thresh)
      .Root("Nom2MeasAngCheck", &PVI::_nominal_to_measured_angle)
      .Root("DistanceThreshold", &PVI::_distance_threshold)
      .Rescan()
      .Need({"Location", "Normal"}, "Request does not contain nominal location and/or normal!")
      .Nominal("Location", &PVI::_nominal_point)
      .Unit("Normal", &PVI::_nominal_normal, "Nominal normal is zero!");
}

shared::Settings PVI::SettingsTable() {
  constexpr int kPoint = win32_support::SETTING_POINT_XYZ;
  return shared::Settings()
      .Nominal(L"NominalPoint", &PVI::_nominal_point)
      .Nominal(L"NominalNormal", &PVI::_nominal_normal)
      .Tagged(kPoint)
      .Parameter(L"BoxDimension", &PVI::_box_dimension, L"Box dimension")
      .Parameter(L"NumberOfScanLines", &PVI::_number_of_scan_lines, L"Number of scan lines")
      .Parameter(L"NumberOfPoints", &PVI::_number_of_points, L"Number of points")
      .Parameter(L"QualityThreshold", &PVI::_quality_threshold)
      .Parameter(L"MaxIterations", &PVI::_max_iterations, L"Maximum iterations")
      .Parameter(L"AngleThresh", &PVI::_angle_thresh, L"Angle Threshold (degrees)")
      .Parameter(L"MinScanTimeOut", &PVI::_min_scan_timeout, L"Minimum scan timeout")
      .Parameter(L"MaxFiltertPrct", &PVI::_max_filter_percentage, L"Maximum filter percentage")
      .Parameter(L"RangeFilterMultiplier", &PVI::_range_filter_multiplier,
                 L"Range filter multiplier")
      .Parameter(L"Nom2MeasAngCheck", &PVI::_nominal_to_measured_angle,
                 L"Nominal to measured angle check (degrees)")
      .Parameter(L"FilterCutRatio", &PVI::_filter_cut_ratio, L"Filter cut ratio")
      .Parameter(L"ScanElevation", &PVI::_scan_elevation, L"Scan elevation direction?")
      .SearchAndRescan()
      .Parameter(L"DistanceThreshold", &PVI::_distance_threshold,
                 L"Threshold for the distance between measured point and intercept of nominal line "
                 L"and plane")
      .Parameter(L"IDCMethod", &PVI::_idc_method)
      .Result(L"MeasuredPoint", &PVI::_measured_point)
      .Result(L"MeasuredNormal", &PVI::_measured_normal)
      .Tagged(kPoint)
      .Result(L"Quality", &PVI::_quality);
}

const shared::FeatureClass& PVI::Class() const {
  static const auto pvi = shared::MakeClass<PVI>("PVI", L"Plane-Vector Intersect", SettingsTable(),
                                                 RequestTable(), PlanTable(), ResultTable());
  return pvi;
}

std::shared_ptr<win32_support::FeatureDescriptor> PVI::FeatureDescriptor() {
  return shared::DescriptorOf<PVI>();
}

}  // namespace libmfx::features
