#include "features/shared/feature_types.h"

#include "libmfx/features/custom_scan.h"
#include "libmfx/features/edge.h"
#include "libmfx/features/hole.h"
#include "libmfx/features/polygon.h"
#include "libmfx/features/pvi.h"
#include "libmfx/features/rectangle.h"
#include "libmfx/features/slot.h"
#include "libmfx/features/sphere_fit.h"
#include "libmfx/features/stud.h"
#include "libmfx/features/threaded_hole.h"
#include "libmfx/features/unknown_feature.h"

namespace libmfx::features::shared {
namespace {

template <typename T>
constexpr FeatureType TypeOf(const char* request_type) {
  return {request_type, [](const messages::Request& request) -> Feature* { return new T(request); },
          [] { return T::FeatureDescriptor(); }};
}

// One class a line, in the order in which hosts list them.
// clang-format off
constexpr FeatureType kTypes[] = {
    TypeOf<PVI>("SurfaceNormalFeature"),
    TypeOf<SphereFit>("MatteSphereFeature"),
    TypeOf<Hole>("HoleFeature"),
    TypeOf<CustomScan>("ScanPathFeature"),
    TypeOf<UnknownFeature>(nullptr),
    TypeOf<Slot>("SlotFeature"),
    TypeOf<Edge>("EdgeFeature"),
    TypeOf<Polygon>("PolygonFeature"),
    TypeOf<Rectangle>("RectangleFeature"),
    TypeOf<ThreadedHole>("ThreadedHoleFeature"),
    TypeOf<Stud>("StudFeature"),
};
// clang-format on

}  // namespace

std::span<const FeatureType> FeatureTypes() { return kTypes; }

}  // namespace libmfx::features::shared
