#include <stdexcept>
#include <string>

#include "features/shared/request_keys.h"

namespace libmfx::features::shared {
namespace {

struct Text {
  std::string_view feature;  ///< key of the class; empty: all that have no text of their own
  std::string_view key;
  KeyText text;
};

constexpr Text kTexts[] = {
    {"", "$id", {"", "comes back in the result"}},
    {"", "$type", {"", "selects what is measured"}},
    {"", "Name", {"", "comes back in the result"}},
    {"", "ScanOrigin", {"m", "where the feature is viewed from"}},
    {"", "RescanThreshold", {"m", "farther off its nominal a feature asks for another pass"}},
    {"", "SearchEnabled", {"", "a failed measurement may search for the feature"}},
    {"", "SearchPointSpacing", {"m", "spacing of the search pattern"}},
    {"", "SearchRadiusMultiplier", {"", "the search reaches this many times the feature's size"}},
    {"", "QualityThreshold", {"quality", "samples of lower quality are dropped"}},
    {"", "ScanQualityThreshold", {"quality", "samples of lower quality are dropped"}},
    {"", "PointSpacing", {"m", "distance of samples along a scan line"}},
    {"", "LineSpacing", {"m", "between the scan lines"}},
    {"", "ClearanceZone", {"m", "how far a scan line runs beyond the border"}},
    {"", "ScanLines", {"", "number of scan lines"}},
    {"", "Location", {"m", "the nominal point"}},
    {"", "Normal", {"", "the nominal normal of the surface"}},
    {"", "Axis", {"", "the nominal axis"}},
    {"", "Tangent", {"", "the nominal direction of the length"}},
    {"", "Radius", {"m", "the nominal radius"}},
    {"", "Length", {"m", "the nominal extent along the tangent"}},
    {"", "Width", {"m", "the nominal extent across the tangent"}},
    {"", "Path", {"", "holds the segments"}},
    {"", "Segments", {"m", "arrays of points, through which the beam walks in order"}},
    {"", "BoxDimension", {"m", "side of the box"}},
    {"", "NumberOfScanLines", {"", "read, and without effect"}},
    {"", "NumberOfPoints", {"", "samples that the zigzag asks for"}},
    {"", "AngleThresh", {"rad", "largest angle between the line of sight and the normal"}},
    {"", "Nom2MeasAngCheck", {"rad", "largest angle between nominal and measured normal"}},
    {"", "DistanceThreshold", {"m", "largest distance of the measured point off the nominal line"}},
    {"", "NumPointsPerLine", {"", "samples on each line"}},
    {"", "UseStarPattern", {"", "a star, else a W"}},
    {"", "ScanElevation", {"", "the first line runs along elevation, else along azimuth"}},
    {"", "BoxDimensionRatio", {"", "side of the pattern's box as a share of the diameter"}},
    {"", "StdMultiplier", {"", "the last fit keeps points within this many standard deviations"}},
    {"", "ChamferDepth", {"m", "depth of the chamfer along the axis"}},
    {"", "ChamferAngle", {"rad", "between chamfer and axis"}},
    {"", "Offset", {"m", "samples below this height are not fitted"}},
    {"", "Height", {"m", "samples above this height are not fitted"}},
    {"", "RadiusTolerance", {"m", "how far from the nominal wall a sample may lie"}},
    {"", "PlaneTolerance", {"m", "how far the surface may lie from the nominal point"}},
    {"", "FixAxis", {"", "keep the nominal axis in the fit"}},
    {"", "FixRadius", {"", "keep the nominal radius in the fit"}},
    {"", "MinIncidentAngle", {"rad", "least angle between axis and line of sight"}},
    {"", "ScanPassesPerArc", {"", "scan lines across each half circle"}},
    {"", "ScanPassesPerSide", {"", "scan lines across each straight side"}},
    {"", "ScansPerSide", {"", "scan lines across each side"}},
    {"", "Sides", {"", "number of sides"}},
    {"", "SurfacePoint", {"m", "a point on the nominal surface, before its border"}},
    {"", "SurfaceNormal", {"", "the normal of the nominal surface"}},
    {"", "EdgePoint", {"m", "a point on the nominal border, below the surface"}},
    {"", "UseNominalOffset", {"", "the sample nearest to the nominal depth is the edge"}},
    {"UnknownFeature", "$type", {"", "comes back in the result"}},
    {"Edge", "ScanLines", {"", "read, and without effect"}},
    {"Stud", "MinIncidentAngle", {"", "least cosine of the angle between axis and line of sight"}},
};

}  // namespace

KeyText TextOfKey(std::string_view feature, std::string_view key) {
  const Text* common = nullptr;
  for (const Text& text : kTexts) {
    if (text.key != key) continue;
    if (text.feature == feature) return text.text;
    if (text.feature.empty()) common = &text;
  }
  if (common != nullptr) return common->text;
  throw std::logic_error("There is no text for the key " + std::string(key) + " of " +
                         std::string(feature));
}

}  // namespace libmfx::features::shared
