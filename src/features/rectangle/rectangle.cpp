#include "libmfx/features/rectangle.h"

#include "features/shared/opening_search.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"

namespace libmfx::features {

Rectangle::Rectangle() = default;

Rectangle::Rectangle(std::string json) { _nominals_valid = ReadRequest(json); }

bool Rectangle::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("Unable to parse JSON message!");
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  root.Read("$id", _uuid);
  root.Read("ScanQualityThreshold", QualityThreshold);
  root.Read("ClearanceZone", ClearanceZone);
  root.Read("ScansPerSide", ScanPassesPerSide);
  root.Read("PointSpacing", PointSpacing);
  feature.Read("Name", _name);
  root.Read("ScanOrigin", _scan_origin);
  root.Read(shared::SearchKeys{_rescan_threshold, _search_point_spacing, _search_radius_multiplier,
                               _search_enabled});
  const std::string refusal = feature.Read(shared::OblongNominal{
      NominalPoint, NominalNormal, NominalTangent, NominalLength, NominalWidth});
  return refusal.empty() || Fail(refusal);
}

const std::string& Rectangle::FeatureName() {
  static const std::string name = "Rectangle";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> Rectangle::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  static const auto descriptor = shared::MakeDescriptor<Rectangle>(
      L"Rectangle", L"Rectangle",
      Row(L"NominalLength", L"Rectangle Length", KIND_NOMINAL, &Rectangle::NominalLength),
      Row(L"NominalWidth", L"Rectangle Width", KIND_NOMINAL, &Rectangle::NominalWidth),
      Row(L"NominalPoint", L"Nominal cartesian point on the surface", KIND_NOMINAL,
          &Rectangle::NominalPoint),
      Row(L"NominalNormal", L"Nominal cartesian normal of the surface", KIND_NOMINAL,
          &Rectangle::NominalNormal),
      Row(L"NominalTangent", L"Nominal cartesian tangent", KIND_NOMINAL,
          &Rectangle::NominalTangent),
      Row(L"QualityThreshold", L"Quality threshold", KIND_PARAMETER, &Rectangle::QualityThreshold),
      Row(L"ClearanceZone", L"Clearance zone", KIND_PARAMETER, &Rectangle::ClearanceZone),
      Row(L"ScanPassesPerSide", L"Scan passes per side", KIND_PARAMETER,
          &Rectangle::ScanPassesPerSide),
      Row(L"PointSpacing", L"Scan point spacing", KIND_PARAMETER, &Rectangle::PointSpacing),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &Rectangle::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &Rectangle::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &Rectangle::IDCMethod),
      Row(L"MeasuredPoint", L"Measured point in cartesian coordinates", KIND_RESULT,
          &Rectangle::MeasuredPoint),
      Row(L"MeasuredNormal", L"Measured normal in cartesian coordinates", KIND_RESULT,
          &Rectangle::MeasuredNormal),
      Row(L"MeasuredTangent", L"Measured tangent in cartesian coordinates", KIND_RESULT,
          &Rectangle::MeasuredTangent),
      Row(L"MeasuredLength", L"Rectangle Length", KIND_RESULT, &Rectangle::MeasuredLength),
      Row(L"MeasuredWidth", L"Rectangle Width", KIND_RESULT, &Rectangle::MeasuredWidth));
  return shared::Captured(descriptor);
}

std::size_t Rectangle::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void Rectangle::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

bool Rectangle::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  return SetRawDataStaged(samples, next);
}

void Rectangle::UpdateNominals(const std::vector<RawDataPoint>& samples) {
  const shared::SearchRules rules{.boundary_limit = NominalWidth - 2.0 * _search_point_spacing,
                                  .max_distance = NominalLength * _search_radius_multiplier,
                                  .quality_threshold = QualityThreshold,
                                  .point_spacing = _search_point_spacing,
                                  .scan_origin = _scan_origin,
                                  .words = shared::kOpeningSearchWords};
  const std::string error = shared::MoveNominal(samples, rules, NominalPoint, NominalNormal);
  if (!error.empty()) SetError(error);
}

std::string Rectangle::GenerateResult() const {
  return shared::FramedResult(
      {"RectangleTargetResult", GetIsSuccessful(), _error, _uuid, _name, GetWarnings()},
      [this](shared::ResultMessage& message) {
        message.Add("Location", MeasuredPoint)
            .Add("Normal", MeasuredNormal)
            .Add("Tangent", MeasuredTangent)
            .Add("Length", MeasuredLength)
            .Add("Width", MeasuredWidth);
      },
      [this](shared::ResultMessage& message) { message.AddScanData("LR_XYZ", _scan_cloud); });
}

}  // namespace libmfx::features
