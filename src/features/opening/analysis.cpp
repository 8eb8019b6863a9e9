#include "libmfx/features/opening.h"

#include <algorithm>
#include <string>

#include "features/shared/border_doubts.h"
#include "features/shared/directions.h"
#include "features/shared/feature_class.h"
#include "features/shared/outline.h"
#include "features/shared/sample_fates.h"
#include "features/shared/segments.h"

namespace libmfx::features {
namespace {

/// Samples of the lines that lie within reach of the nominal.
double SamplesNear(const shared::OutlineRules& rules, const PointCloud& scan,
                   const shared::Outline& outline) {
  Eigen::Index near = 0;
  for (const std::vector<shared::ScanLine>& side : outline.lines) {
    for (const shared::ScanLine& line : side) {
      near += std::count_if(line.columns.begin(), line.columns.end(), [&](Eigen::Index column) {
        return Distance(scan.point(column), rules.surface.center) <= rules.surface.max_distance;
      });
    }
  }
  return static_cast<double>(near);
}

}  // namespace

shared::OutlineRules Opening::RulesOf(const char* tilted, const shared::ScanLayout& layout,
                                      const OutlineSizes& sizes) const {
  const shared::SearchNominal& nominal = *shared::FeatureAccess::ClassOf(*this).search;
  return {.tilted = tilted,
          .layout = layout,
          .surface = {.center = nominal.center.As<PointXYZW>(*this),
                      .normal = nominal.normal.As<VectorXYZW>(*this),
                      .max_distance = sizes.reach,
                      .quality_threshold = nominal.quality_threshold.As<double>(*this),
                      .point_spacing = sizes.point_spacing,
                      .reject_angle = sizes.reject_angle},
          .edges = {sizes.raise, sizes.limit, sizes.point_spacing},
          .scan_origin = nominal.scan_origin.As<PointXYZW>(*this),
          .clearance = sizes.clearance};
}

bool Opening::FindOutline(const shared::OutlineRules& rules, PointCloud& scan,
                          shared::Outline& outline) {
  if (!_has_error) {
    scan = shared::ScanOf(_raw_data, rules.surface.quality_threshold, outline.samples);
  }
  if (_has_error || scan.cols() == 0) {
    return TakeScan(EMBEDDING_XYZ, rules.surface.quality_threshold, scan);
  }
  const std::string refusal = rules.checks_plan ? RefusePlan() : std::string();
  if (!refusal.empty()) return Fail(refusal);
  outline.lines = shared::SortIntoLines(scan, rules.layout);
  const shared::SurfaceFit surface =
      shared::FitSurface(scan, outline.lines, rules.surface, outline.plane, outline.surface);
  if (surface == shared::SurfaceFit::kNoPlane) {
    // No text is told of it; the record says what was missed.
    return Passed("samples of a surface near the nominal", SamplesNear(rules, scan, outline), 3.0,
                  false);
  }
  NoteLines(rules, outline);
  const double angle = shared::AngleOfCosine(outline.plane.Normal().dot(rules.surface.normal));
  if (!Passed("angle to the nominal normal", angle, rules.surface.reject_angle,
              surface != shared::SurfaceFit::kTilted)) {
    return Fail(rules.tilted);
  }
  for (std::size_t side = 0; side < outline.lines.size(); ++side) {
    std::vector<shared::EdgePoint>& edges = outline.edges.emplace_back();
    for (std::size_t k = 0; k < outline.lines[side].size(); ++k) {
      const PointCloud& line = outline.surface.lines[side][k];
      const auto edge =
          shared::EdgePointOf(line, outline.plane.Point(), outline.plane, rules.edges);
      if (!edge) continue;
      edges.push_back({&outline.lines[side][k], &line, *edge});
      Record().edges.push_back({outline.lines[side][k].segment, *edge});
    }
    if (edges.size() < rules.fewest_edges) {
      return Fail("Bad scan lines resulted insufficient edge points being found!");
    }
  }
  return true;
}

void Opening::NoteLines(const shared::OutlineRules& rules, const shared::Outline& outline) {
  Record().surface = shared::Facing(outline.plane, rules.scan_origin);
  shared::SampleFates fates(outline.samples, _raw_data.size(), Record().fates);
  const char* mark = outline.surface.marks.data();
  for (std::size_t side = 0; side < outline.lines.size(); ++side) {
    for (std::size_t k = 0; k < outline.lines[side].size(); ++k) {
      const shared::ScanLine& line = outline.lines[side][k];
      Record().lines.push_back({line.segment, static_cast<int>(side), line.sense});
      fates.Set(line.columns, mark, SampleFate::kSurface, SampleFate::kDropped);
      mark += line.columns.size();
    }
  }
}

void Opening::TellDoubts(const shared::OutlineRules& rules, const shared::Outline& outline,
                         const PointXYZW& measured, bool straight) {
  const double spacing = rules.surface.point_spacing;
  if (straight) {
    Warn(shared::DoubtsOfCenter(measured, rules.surface.center, spacing, _rescan_threshold));
    Warn(shared::DoubtsOfSides(outline.sides, spacing, rules.clearance));
  }
  std::vector<std::vector<shared::BorderLine>> borders;
  for (const std::vector<shared::EdgePoint>& side : outline.edges) {
    std::vector<shared::BorderLine>& border = borders.emplace_back();
    for (const shared::EdgePoint& edge : side) {
      border.push_back({edge.line->segment, edge.place, edge.surface});
    }
  }
  Warn(shared::DoubtsOfBorder(borders, {outline.plane, _raw_data, rules.surface.quality_threshold,
                                        spacing, rules.scan_origin}));
}

}  // namespace libmfx::features
