#include "libmfx/features/threaded_hole.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "features/cylinder/request.h"
#include "features/shared/trace.h"
#include "messages/request.h"

namespace libmfx::features {
namespace {

constexpr CylinderKind kThreadedHole{.name = "ThreadedHole",
                                     .label = L"Performs threaded hole detection",
                                     .quality_key = "ScanQualityThreshold",
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

ThreadedHole::ThreadedHole(std::string json) : ThreadedHole(messages::Request(json)) {}

ThreadedHole::ThreadedHole(const messages::Request& request) : ThreadedHole() {
  if (ReadRequest(request)) ThreadedHole::ValidateNominals();
}

const shared::FeatureClass& ThreadedHole::Class() const {
  static const shared::FeatureClass threaded_hole = TablesOf<ThreadedHole>(kThreadedHole);
  return threaded_hole;
}

std::shared_ptr<win32_support::FeatureDescriptor> ThreadedHole::FeatureDescriptor() {
  return shared::DescriptorOf<ThreadedHole>();
}

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
