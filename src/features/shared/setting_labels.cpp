#include <stdexcept>
#include <string_view>

#include "features/shared/settings.h"

namespace libmfx::features::shared {
namespace {

struct Label {
  std::string_view feature;  ///< key of the class; empty: all that have no label of their own
  std::wstring_view name;
  const wchar_t* text;
};

constexpr Label kLabels[] = {
    {"", L"NominalPoint", L"Nominal cartesian point on the surface"},
    {"", L"NominalNormal", L"Nominal cartesian normal of the surface"},
    {"", L"NominalTangent", L"Nominal cartesian tangent"},
    {"", L"NominalRadius", L"Nominal radius"},
    {"", L"PointSpacing", L"Point spacing"},
    {"", L"QualityThreshold", L"Quality threshold"},
    {"", L"ClearanceZone", L"Clearance zone"},
    {"", L"ScanPassesPerSide", L"Scan passes per side"},
    {"", L"SearchEnabled", L"The search functionality to be enabled"},
    {"", L"RescanThreshold", L"The threshold distance for the re-scan"},
    {"", L"IDCMethod", L"Enhanced Measurement Mode (0=off,1=Speed,2=Optimized)"},
    {"", L"MeasuredPoint", L"Measured point in cartesian coordinates"},
    {"", L"MeasuredNormal", L"Measured normal in cartesian coordinates"},
    {"", L"MeasuredTangent", L"Measured tangent in cartesian coordinates"},
    {"", L"Quality", L"Quality metric"},
    {"", L"NumScanLines", L"Number of scan lines in the user pattern"},
    {"", L"ChamferDepth", L"The depth of the chamfer cut"},
    {"", L"ChamferAngle", L"The angle of the chamfer cut"},
    {"", L"Radius", L"Measured output radius"},
    {"", L"NominalLength", L"Rectangle Length"},
    {"", L"NominalWidth", L"Rectangle Width"},
    {"", L"MeasuredLength", L"Rectangle Length"},
    {"", L"MeasuredWidth", L"Rectangle Width"},
    {"", L"NominalAxis", L"Nominal polygon axis of symmetry in cartesian coordinates"},
    {"", L"Sides", L"Number of sides"},
    {"", L"ScansPerSide", L"Scans per side"},
    {"", L"MeasuredAxis", L"Measured polygon axis of symmetry in cartesian coordinates"},
    {"", L"ScanPassesPerArc", L"Scan passes per arc"},
    {"", L"NominalSurfacePoint", L"Nominal surface point in cartesian coordinates"},
    {"", L"NominalSurfaceNormal", L"Nominal surface normal"},
    {"", L"NominalEdgePoint", L"Nominal edge point in cartesian coordinates"},
    {"", L"UseNominalOffset",
     L"If true, calcuated edge point will be the same distance below the measured surface as the "
     L"nominal edge point is below the nominal surface"},
    {"", L"BoxDimension", L"Box dimension"},
    {"", L"NumberOfScanLines", L"Number of scan lines"},
    {"", L"NumberOfPoints", L"Number of points"},
    {"", L"MaxIterations", L"Maximum iterations"},
    {"", L"AngleThresh", L"Angle Threshold (degrees)"},
    {"", L"MinScanTimeOut", L"Minimum scan timeout"},
    {"", L"MaxFiltertPrct", L"Maximum filter percentage"},
    {"", L"RangeFilterMultiplier", L"Range filter multiplier"},
    {"", L"Nom2MeasAngCheck", L"Nominal to measured angle check (degrees)"},
    {"", L"FilterCutRatio", L"Filter cut ratio"},
    {"", L"DistanceThreshold",
     L"Threshold for the distance between measured point and intercept of nominal line and plane"},
    {"", L"ScanLines", L"Number of scan lines in the user pattern"},
    {"", L"NumPointsPerLine", L"Number of points per scan line in user pattern"},
    {"", L"BoxDimensionRatio",
     L"Fraction of tooling ball diameter to use as the dimensions of the box that defines the user "
     L"pattern region"},
    {"", L"AdvancedFilter",
     L"Enables bin division and sampling sphere fit. If disabled, a sphere is naively fit to the "
     L"set only after a quality filter pass and then returned"},
    {"", L"StarScanPattern", L"Override W-Scan and use star pattern instead"},
    {"", L"UserFilters", L"Use static user-defined filter values"},
    {"", L"FitTolerance",
     L"Acceptable deviation from input nominal radius (m) (only used with UserFilters is set to "
     L"true)"},
    {"", L"FilterTolerance",
     L"ax point distance from fit sphere before rejection (m) (only used with UserFilters is set "
     L"to true)"},
    {"", L"StdMultiplier", L"Standard deviation multiplier for distance threshold of final fit"},
    {"", L"NumSamplePoints", L"Number of randomly sampled points for RANSAC"},
    {"", L"FixAxis", L"Fix the cylinder axis during fitting"},
    {"", L"FixRadius", L"Fix the cylinder radius during fitting"},
    {"", L"LineSpacing", L"The line spacing for the scan"},
    {"", L"NominalCylinderAxis", L"The axis of the nominal cylinder"},
    {"", L"NominalCylinderCenter", L"The center of the nominal cylinder"},
    {"", L"NominalCylinderRadius", L"The radius of the nominal cylinder"},
    {"", L"NominalCylinderBottomOffset",
     L"Any points whose distance to the nominal plane is less than this offset will be rejected "
     L"before fitting. The nominal plane is defined as the plane passing the nominal cylinder "
     L"center and perpendicular to the nominal cylinder axis."},
    {"", L"NominalCylinderHeight", L"The height of the nominal cylinder"},
    {"", L"RadiusTolerance", L"The tolerance of the radius of the cylinder"},
    {"", L"PlaneTolerance", L"The tolerance of the distance from the base plane"},
    {"", L"FittedCylinderAxis", L"The axis of the fitted cylinder"},
    {"", L"FittedCylinderCenter", L"The center of the fitted cylinder"},
    {"", L"FittedCylinderRadius", L"The radius of the fitted cylinder"},
    {"RobustHole", L"NominalPoint", L"Nominal cartesian point of the hole centroid"},
    {"Polygon", L"NominalPoint", L"Nominal polygon center in cartesian coordinates"},
    {"RobustHole", L"NominalNormal", L"Nominal cartesian normal of the hole surface"},
    {"Polygon", L"NominalNormal", L"Nominal polygon normal in cartesian coordinates"},
    {"RobustHole", L"NominalRadius", L"Nominal radius of the hole"},
    {"MatteSphere", L"NominalRadius", L"The radius of the nominal sphere"},
    {"RobustHole", L"ClearanceZone", L"The distance to search for the edge of the hole"},
    {"RobustHole", L"PointSpacing", L"The pointspacing for the scan"},
    {"Rectangle", L"PointSpacing", L"Scan point spacing"},
    {"Slot", L"PointSpacing", L"Scan point spacing"},
    {"Stud", L"PointSpacing", L"The point spacing for the scan"},
    {"ThreadedHole", L"PointSpacing", L"The point spacing for the scan"},
    {"RobustHole", L"QualityThreshold", L"Minimum required quality of the scan data"},
    {"MatteSphere", L"QualityThreshold",
     L"Minimum acceptable quality for a valid scanned point (Quality Filter dB value)"},
    {"Stud", L"QualityThreshold", L"Minimum required quality of the scan data"},
    {"ThreadedHole", L"QualityThreshold", L"Minimum required quality of the scan data"},
    {"Polygon", L"MeasuredPoint", L"Measured polygon center in cartesian coordinates"},
    {"Edge", L"MeasuredPoint", L"Measured edge point in cartesian coordinates"},
    {"Polygon", L"MeasuredNormal", L"Measured polygon normal in cartesian coordinates"},
    {"Polygon", L"MeasuredRadius", L"Measured radius"},
    {"MatteSphere", L"MeasuredRadius", L"Radius of the measured sphere"},
    {"Slot", L"Length", L"Slot Length"},
    {"Slot", L"Length", L"Slot Length"},
    {"Slot", L"Width", L"Slot Width"},
    {"Slot", L"Width", L"Slot Width"},
    {"PVI", L"ScanElevation", L"Scan elevation direction?"},
    {"MatteSphere", L"ScanElevation", L"Toggle for W-scan direction (false will scan in azimuth)"},
    {"Stud", L"MinIncidentAngle",
     L"The minimum angle to the feature to extract a Stud reliably (rad)"},
    {"ThreadedHole", L"MinIncidentAngle",
     L"The minimum angle to the feature to extract a Threaded Hole reliably (rad)"},
};

}  // namespace

const wchar_t* LabelOf(std::string_view feature, std::wstring_view name) {
  const wchar_t* common = nullptr;
  for (const Label& label : kLabels) {
    if (label.name != name) continue;
    if (label.feature == feature) return label.text;
    if (label.feature.empty()) common = label.text;
  }
  if (common == nullptr) throw std::logic_error("A setting without a label");
  return common;
}

}  // namespace libmfx::features::shared
