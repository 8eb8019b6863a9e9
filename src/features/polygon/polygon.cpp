#include "libmfx/features/polygon.h"

#include "features/shared/directions.h"
#include "features/shared/opening_search.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"

namespace libmfx::features {

Polygon::Polygon() = default;

Polygon::Polygon(std::string json) { _nominals_valid = ReadRequest(json); }

bool Polygon::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("Unable to parse JSON message!");
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  root.Read("$id", _uuid);
  root.Read("ScanQualityThreshold", QualityThreshold);
  root.Read("ClearanceZone", ClearanceZone);
  root.Read("ScansPerSide", ScansPerSide);
  root.Read("PointSpacing", PointSpacing);
  feature.Read("Name", _name);
  root.Read("ScanOrigin", _scan_origin);
  root.Read(shared::SearchKeys{_rescan_threshold, _search_point_spacing, _search_radius_multiplier,
                               _search_enabled});
  for (const char* key : {"Location", "Normal", "Axis", "Sides", "Radius"}) {
    if (!feature.Has(key)) {
      return Fail("Request does not contain valid nominal location, orientation, and/or geometry!");
    }
  }
  feature.Read("Location", NominalPoint);
  feature.Read("Normal", NominalNormal);
  if (NominalNormal.isZero(shared::kZeroDirection)) return Fail("Nominal normal is zero!");
  NominalNormal.normalize();
  feature.Read("Axis", NominalAxis);
  if (NominalAxis.isZero(shared::kZeroDirection)) return Fail("Nominal axis is zero!");
  NominalAxis.normalize();
  feature.Read("Sides", Sides);
  feature.Read("Radius", _input_radius);
  return true;
}

const std::string& Polygon::FeatureName() {
  static const std::string name = "Polygon";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> Polygon::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  // The axes' settings reach the normals and "MeasuredRadius" the nominal radius: hosts know it so.
  static const auto descriptor = shared::MakeDescriptor<Polygon>(
      L"Polygon", L"Polygon",
      Row(L"NominalPoint", L"Nominal polygon center in cartesian coordinates", KIND_NOMINAL,
          &Polygon::NominalPoint),
      Row(L"NominalNormal", L"Nominal polygon normal in cartesian coordinates", KIND_NOMINAL,
          &Polygon::NominalNormal),
      Row(L"NominalAxis", L"Nominal polygon axis of symmetry in cartesian coordinates",
          KIND_NOMINAL, &Polygon::NominalNormal),
      Row(L"NominalRadius", L"Nominal radius", KIND_NOMINAL, &Polygon::_unused_nominal_radius),
      Row(L"Sides", L"Number of sides", KIND_NOMINAL, &Polygon::Sides),
      Row(L"QualityThreshold", L"Quality threshold", KIND_PARAMETER, &Polygon::QualityThreshold),
      Row(L"PointSpacing", L"Point spacing", KIND_PARAMETER, &Polygon::PointSpacing),
      Row(L"ClearanceZone", L"Clearance zone", KIND_PARAMETER, &Polygon::ClearanceZone),
      Row(L"ScansPerSide", L"Scans per side", KIND_PARAMETER, &Polygon::ScansPerSide),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &Polygon::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &Polygon::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &Polygon::IDCMethod),
      Row(L"MeasuredPoint", L"Measured polygon center in cartesian coordinates", KIND_RESULT,
          &Polygon::MeasuredPoint),
      Row(L"MeasuredNormal", L"Measured polygon normal in cartesian coordinates", KIND_RESULT,
          &Polygon::MeasuredNormal),
      Row(L"MeasuredAxis", L"Measured polygon axis of symmetry in cartesian coordinates",
          KIND_RESULT, &Polygon::MeasuredNormal),
      Row(L"MeasuredRadius", L"Measured radius", KIND_RESULT, &Polygon::_input_radius),
      Row(L"Quality", L"Quality metric", KIND_RESULT, &Polygon::_quality));
  return shared::Captured(descriptor);
}

std::size_t Polygon::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void Polygon::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

bool Polygon::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  return SetRawDataStaged(samples, next);
}

void Polygon::UpdateNominals(const std::vector<RawDataPoint>& samples) {
  shared::SearchWords words = shared::kOpeningSearchWords;
  words.updated_center = "Updated _input_location: ";
  const shared::SearchRules rules{
      .boundary_limit = 2.0 * _input_radius - 2.0 * _search_point_spacing,
      .max_distance = 2.0 * _input_radius * _search_radius_multiplier,
      .quality_threshold = QualityThreshold,
      .point_spacing = _search_point_spacing,
      .scan_origin = _scan_origin,
      .words = words};
  const std::string error = shared::MoveNominal(samples, rules, NominalPoint, NominalNormal);
  if (!error.empty()) SetError(error);
}

std::string Polygon::GenerateResult() const {
  return shared::FramedResult(
      {"PolygonTargetResult", GetIsSuccessful(), _error, _uuid, _name, GetWarnings()},
      [this](shared::ResultMessage& message) {
        message.Add("Location", MeasuredPoint)
            .Add("Normal", MeasuredNormal)
            .Add("Axis", MeasuredAxis)
            .Add("Radius", _measured_radius)
            .Add("Sides", Sides)
            .Add("Quality", _quality);
      },
      [this](shared::ResultMessage& message) { message.AddScanData("LR_XYZ", _scan_cloud); });
}

}  // namespace libmfx::features
