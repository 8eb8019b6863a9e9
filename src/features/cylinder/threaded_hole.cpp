#include "libmfx/features/threaded_hole.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "features/cylinder/table.h"
#include "features/shared/trace.h"

namespace libmfx::features {
namespace {

constexpr auto kThreadedHole = CylinderKind{.quality_key = "ScanQualityThreshold",
                                            .result_type = "ThreadedHoleTargetResult",
                                            .rounding = 0.5,
                                            .axis_points_away = true};

}  // namespace

ThreadedHole::ThreadedHole() : CylinderFeature(kThreadedHole) {
  _line_spacing = 0.001;
  _nominal_cylinder = {{0.0, 0.0, 1.0, 1.0}, {110.0, 52.5, 0.0, 1.0}, 5.0};
  _bottom_offset = 1.0;
  _height = 18.0;
  _radius_tolerance = 3.0;
  _plane_tolerance = 2.0;
}

ThreadedHole::ThreadedHole(std::string json) : ThreadedHole() {
  _nominals_valid = ReadRequest(json);
  if (_nominals_valid) ThreadedHole::ValidateNominals();
}

const std::string& ThreadedHole::FeatureName() {
  static const std::string name = "ThreadedHole";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> ThreadedHole::FeatureDescriptor() {
  static const auto descriptor = MakeTable<ThreadedHole>(
      L"ThreadedHole", L"Performs threaded hole detection",
      L"The minimum angle to the feature to extract a Threaded Hole reliably (rad)");
  return shared::Captured(descriptor);
}

std::size_t ThreadedHole::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void ThreadedHole::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

bool ThreadedHole::ValidateNominals() {
  if (!_nominals_valid) return Fail("Original JSON was invalid!");
  const double angle = std::acos(std::clamp(-FacingOfAxis(), 0.0, 1.0));
  shared::Trace() << "ThreadedHole (" << _name << ") nominal incident: " << angle << std::endl
                  << "Lower bound angle: " << _min_incident_angle << std::endl
                  << "Upper bound angle: " << _max_incident_angle << std::endl;
  if (!(angle >= _min_incident_angle)) {
    return Fail("The angle of the feature is too small for a reliable extraction!");
  }
  if (!(angle <= _max_incident_angle)) {
    return Fail("The angle of the feature is too large for a reliable extraction!");
  }
  return true;
}

}  // namespace libmfx::features
