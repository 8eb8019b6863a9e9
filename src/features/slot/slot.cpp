#include "libmfx/features/slot.h"

#include <ostream>

#include "features/shared/opening_search.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"
#include "features/shared/trace.h"

namespace libmfx::features {

Slot::Slot() = default;

Slot::Slot(std::string json) { _nominals_valid = ReadRequest(json); }

bool Slot::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("Unable to parse JSON message!");
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  root.Read("$id", _uuid);
  root.Read("ScanQualityThreshold", QualityThreshold);
  root.Read("PointSpacing", PointSpacing);
  root.Read("ClearanceZone", ClearanceZone);
  feature.Read("Name", _name);
  root.Read("ScanPassesPerSide", ScanPassesPerSide);
  root.Read("ScanOrigin", _scan_origin);
  root.Read(shared::SearchKeys{_rescan_threshold, _search_point_spacing, _search_radius_multiplier,
                               _search_enabled});
  root.Read("ScanPassesPerArc", ScanPassesPerArc);
  if (ScanPassesPerArc < 1) {
    return Fail("Request does not contain valid scan passes number for slot arcs!");
  }
  const shared::OblongNominal nominal{NominalPoint, NominalNormal, NominalTangent, Length, Width};
  const std::string refusal = feature.Read(nominal);
  return refusal.empty() || Fail(refusal);
}

const std::string& Slot::FeatureName() {
  static const std::string name = "Slot";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> Slot::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  // "Length" and "Width" stand twice: by name a host reaches the nominal.
  static const auto descriptor = shared::MakeDescriptor<Slot>(
      L"Slot", L"Slot", Row(L"Length", L"Slot Length", KIND_NOMINAL, &Slot::Length),
      Row(L"Width", L"Slot Width", KIND_NOMINAL, &Slot::Width),
      Row(L"NominalPoint", L"Nominal cartesian point on the surface", KIND_NOMINAL,
          &Slot::NominalPoint),
      Row(L"NominalNormal", L"Nominal cartesian normal of the surface", KIND_NOMINAL,
          &Slot::NominalNormal),
      Row(L"NominalTangent", L"Nominal cartesian tangent", KIND_NOMINAL, &Slot::NominalTangent),
      Row(L"QualityThreshold", L"Quality threshold", KIND_PARAMETER, &Slot::QualityThreshold),
      Row(L"ClearanceZone", L"Clearance zone", KIND_PARAMETER, &Slot::ClearanceZone),
      Row(L"ScanPassesPerArc", L"Scan passes per arc", KIND_PARAMETER, &Slot::ScanPassesPerArc),
      Row(L"ScanPassesPerSide", L"Scan passes per side", KIND_PARAMETER, &Slot::ScanPassesPerSide),
      Row(L"PointSpacing", L"Scan point spacing", KIND_PARAMETER, &Slot::PointSpacing),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &Slot::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &Slot::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &Slot::IDCMethod),
      Row(L"MeasuredPoint", L"Measured point in cartesian coordinates", KIND_RESULT,
          &Slot::MeasuredPoint),
      Row(L"MeasuredNormal", L"Measured normal in cartesian coordinates", KIND_RESULT,
          &Slot::MeasuredNormal),
      Row(L"MeasuredTangent", L"Measured tangent in cartesian coordinates", KIND_RESULT,
          &Slot::MeasuredTangent),
      Row(L"Length", L"Slot Length", KIND_RESULT, &Slot::MeasuredLength),
      Row(L"Width", L"Slot Width", KIND_RESULT, &Slot::MeasuredWidth));
  return shared::Captured(descriptor);
}

std::size_t Slot::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void Slot::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

namespace {

const char* StepName(DRIVE_STEP step) {
  switch (step) {
    case INITIAL:
      return "INITIAL";
    case SURFACE_RANGE:
      return "SURFACE_RANGE";
    case FEATURE_SCAN_PATTERN:
      return "FEATURE_SCAN_PATTERN";
    case SEARCH:
      return "SEARCH";
    case RESCAN:
      return "RESCAN";
  }
  return "Unknown Drive Step!!!";
}

}  // namespace

bool Slot::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  if (_has_error || !_raw_data.empty()) return true;
  shared::Trace() << "Slot::SetRawData()::_search == " << (_search ? "true" : "false") << std::endl
                  << "Drive Step: " << StepName(_drive_step) << std::endl;
  if (samples.empty() && _drive_step == INITIAL) {
    shared::Trace() << "Slot::SetRawData(): Normal search pattern!" << std::endl;
  }
  return SetRawDataStaged(samples, next);
}

void Slot::UpdateNominals(const std::vector<RawDataPoint>& samples) {
  const shared::SearchRules rules{.boundary_limit = Width - 2.0 * _search_point_spacing,
                                  .max_distance = Length * _search_radius_multiplier,
                                  .quality_threshold = QualityThreshold,
                                  .point_spacing = _search_point_spacing,
                                  .scan_origin = _scan_origin,
                                  .words = shared::kOpeningSearchWords};
  const std::string error = shared::MoveNominal(samples, rules, NominalPoint, NominalNormal);
  if (!error.empty()) SetError(error);
}

std::string Slot::GenerateResult() const {
  return shared::FramedResult(
      {"SlotTargetResult", GetIsSuccessful(), _error, _uuid, _name, GetWarnings()},
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
