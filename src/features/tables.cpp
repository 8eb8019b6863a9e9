// What every feature does by the tables of its class.

#include <utility>

#include "features/shared/feature_class.h"
#include "libmfx/features/feature.h"
#include "messages/request.h"

namespace libmfx::features {

const shared::FeatureClass& Feature::Class() const {
  static const shared::FeatureClass none;
  return none;
}

const std::string& Feature::FeatureName() { return Class().name; }

std::size_t Feature::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*shared::DescriptorOf(*this), name);
}

void Feature::ResetSettings() {
  const auto& descriptor = Class().descriptor;
  if (descriptor != nullptr) shared::ResetToDefaults(*this, *shared::Captured(descriptor));
}

bool Feature::ReadRequest(const std::string& json) { return ReadRequest(messages::Request(json)); }

bool Feature::ReadRequest(const messages::Request& request) {
  const std::string refusal = Class().request.Read(request, *this);
  _nominals_valid = refusal.empty() || Fail(refusal);
  return _nominals_valid;
}

std::string Feature::RefusePlan() const { return Class().plan.Refusal(*this); }

std::optional<std::queue<Position>> Feature::PlanWithoutPattern() {
  if (_has_error) {
    _last_drive_points = {};
    return std::queue<Position>();
  }
  if (_search && Class().search) return SearchPattern();
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return Refuse(refusal);
  return std::nullopt;
}

bool Feature::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  if (Class().search) return SetRawDataStaged(samples, next);
  _raw_data = samples;
  return true;
}

namespace {

/// The direction in a member, which some classes keep as a point.
VectorXYZW DirectionIn(const shared::Member& member, Feature& feature) {
  return member.tag() == win32_support::SETTING_VECTOR_XYZ
             ? member.As<VectorXYZW>(feature)
             : VectorXYZW(member.As<PointXYZW>(feature).xyz());
}

void MoveNominal(const shared::SearchNominal& search, const PointXYZW& center,
                 const VectorXYZW& normal, Feature& feature) {
  *static_cast<PointXYZW*>(search.center.AddressIn(feature)) = center;
  void* place = search.normal.AddressIn(feature);
  if (search.normal.tag() == win32_support::SETTING_VECTOR_XYZ) {
    *static_cast<VectorXYZW*>(place) = normal;
  } else {
    *static_cast<PointXYZW*>(place) = PointXYZW(normal.eigen());
  }
}

}  // namespace

std::queue<Position> Feature::SearchPattern() {
  const shared::SearchNominal& search = *Class().search;
  return GenerateSearchPattern(search.center.As<PointXYZW>(*this),
                               DirectionIn(search.normal, *this), search.spiral(*this));
}

void Feature::UpdateNominals(const std::vector<RawDataPoint>& samples) {
  if (!Class().search) return;
  const shared::SearchNominal& search = *Class().search;
  const shared::SearchRules rules{
      .boundary_limit = search.opening(*this) - 2.0 * _search_point_spacing,
      .max_distance = search.reach(*this),
      .quality_threshold = search.quality_threshold.As<double>(*this),
      .point_spacing = _search_point_spacing,
      .scan_origin = search.scan_origin.As<PointXYZW>(*this),
      .words = search.words,
      .points_away = search.points_away};
  PointXYZW center = search.center.As<PointXYZW>(*this);
  VectorXYZW normal = DirectionIn(search.normal, *this);
  const std::string error = shared::MoveNominal(samples, rules, center, normal);
  if (!error.empty()) return SetError(error);
  MoveNominal(search, center, normal, *this);
}

bool Feature::AsksForRescan(const PointXYZW& center, const VectorXYZW& normal) {
  const shared::SearchNominal& search = *Class().search;
  if (!TriggerRescan((center - search.center.As<PointXYZW>(*this)).norm())) return false;
  MoveNominal(search, center, normal, *this);
  return true;
}

std::string Feature::GenerateResult() const {
  if (!Class().result.empty()) return Class().result.Write(*this);
  return "<<Automated result string generation coming soon...>>";
}

}  // namespace libmfx::features
