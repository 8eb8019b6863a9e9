#include "features/shared/border_doubts.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "features/shared/beam.h"
#include "features/shared/segments.h"
#include "geometry/triples.h"
#include "messages/text.h"

namespace libmfx::features::shared {

using geometry::Both;
using geometry::Pair;
using geometry::PairMask;
using geometry::Triple;
using messages::MillimetreText;
using messages::PercentText;
using messages::RoundedText;

namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;

/// In point spacings: how far from the border a missing sample still matters, and how far off the
/// plane a sample is no longer of the surface.
constexpr double kZone = 20.0;
constexpr double kOnSurface = 3.0;
/// Above these the samples are too few, or too far apart.
constexpr double kMostMissing = 1.0 / 6.0;
constexpr double kMostSpacing = 1.5;

/// What is there of a surface in front of a border, in samples.
struct Tally {
  double length = 0.0;  ///< of the lines, within the zone, metres
  double kept = 0.0;
  std::vector<double> low;  ///< qualities of those below the threshold
  std::vector<double> off;  ///< distances from the plane of those that lie off it

  double Missing(double spacing) const { return length / spacing - kept; }
  bool Lacks(double spacing) const { return Missing(spacing) > kMostMissing * (length / spacing); }
  void Add(const Tally& other) {
    length += other.length;
    kept += other.kept;
    low.insert(low.end(), other.low.begin(), other.low.end());
    off.insert(off.end(), other.off.begin(), other.off.end());
  }
};

/// A line seen from its border.
struct Outwards {
  PointXYZW edge;
  VectorXYZW direction;  ///< unit, along the line, away from the border
  double length = 0.0;   ///< to the farthest sample of the surface, at most the zone

  double AlongOf(const PointXYZW& p) const { return (p - edge).dot(direction); }
};

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// A line seen from its border, and what was kept of it.
struct SeenLine {
  Outwards outwards;
  Tally tally;
};

/// Two samples at a time, which takes two thirds of the time. A sample off the surface counts as
/// one at the border, which adds nothing. Not inlined: among what its caller keeps in registers the
/// largest distance would go through memory from sample to sample.
/// \param room for the samples of the line
[[gnu::noinline]] SeenLine See(const BorderLine& line, const SurfaceScan& scan,
                               std::vector<Triple>& room) {
  const Triple edge(line.edge.xyz());
  const Triple normal(scan.plane.Normal().xyz());
  const Pair edge_height = Both(scan.plane.SignedDistanceTo(line.edge));
  const Pair flat = Both(kOnSurface * scan.point_spacing);
  double sum_x = 0.0;
  double sum_y = 0.0;
  double sum_z = 0.0;
  room.clear();
  const Eigen::Index columns = line.surface->cols();
  const Eigen::Index rows = line.surface->rows();
  const double* sample = line.surface->data().data();
  for (Eigen::Index i = 0; i < columns; i += 2, sample += 2 * rows) {
    const bool single = i + 1 == columns;
    const Triple from_edge = Triple(sample, single ? sample : sample + rows) - edge;
    // A stray sample beside those of the surface may have come along.
    PairMask on_surface = geometry::Magnitude(from_edge.Dot(normal) + edge_height) <= flat;
    if (single) on_surface[1] = 0;
    const Triple counted(geometry::Choose(on_surface, from_edge.x, Pair{}),
                         geometry::Choose(on_surface, from_edge.y, Pair{}),
                         geometry::Choose(on_surface, from_edge.z, Pair{}));
    sum_x = sum_x + counted.x[0] + counted.x[1];
    sum_y = sum_y + counted.y[0] + counted.y[1];
    sum_z = sum_z + counted.z[0] + counted.z[1];
    room.push_back(counted);
  }
  SeenLine seen{{line.edge, VectorXYZW(sum_x, sum_y, sum_z).normalized()}, {}};
  const Triple direction(seen.outwards.direction.xyz());
  const double zone = kZone * scan.point_spacing;
  const Pair within = Both(zone);
  // The sample at the very border ends the last gap.
  const Pair beyond = Both(0.5 * scan.point_spacing);
  Pair farthest{};
  PairMask kept{};
  for (const Triple& from_edge : room) {
    const Pair along = from_edge.Dot(direction);
    farthest = along > farthest ? along : farthest;
    kept += (along > beyond) & (along <= within);
  }
  seen.tally.kept = static_cast<double>(-(kept[0] + kept[1]));
  seen.outwards.length = seen.tally.length = std::min(std::max(farthest[0], farthest[1]), zone);
  return seen;
}

/// All that came back on the lines, told by where its beam crosses the surface.
class Returned {
 public:
  Returned(const SurfaceScan& scan, const std::vector<std::vector<BorderLine>>& groups)
      : _scan(scan) {
    for (const auto& group : groups) {
      for (const BorderLine& line : group) _lines[line.segment];
    }
    for (const RawDataPoint& sample : scan.samples) {
      const auto line = _lines.find(sample.status);
      if (line != _lines.end()) line->second.push_back(&sample);
    }
  }

  /// Adds what came back in front of the border of a line and was not kept, and the gaps between
  /// what came back at all.
  void Look(const BorderLine& line, const Outwards& outwards, Tally& tally,
            std::vector<double>& gaps) const {
    std::vector<double> places;
    for (const RawDataPoint* sample : _lines.at(line.segment)) {
      const PointXYZW p =
          data_structures::AzElRange(sample->azimuth, sample->elevation, sample->range).ToPoint();
      // What is no number came back as little as what is not there.
      if (!p.xyz().allFinite() || !std::isfinite(sample->quality)) continue;
      const double along = outwards.AlongOf(PierceOf(p, _scan.scan_origin, _scan.plane));
      if (!(along > 0.5 * _scan.point_spacing && along <= outwards.length)) continue;
      places.push_back(along);
      const double distance = _scan.plane.Distance(p);
      if (distance > kOnSurface * _scan.point_spacing) {
        tally.off.push_back(distance);
      } else if (!(sample->quality >= _scan.quality_threshold)) {
        tally.low.push_back(sample->quality);
      }
    }
    std::sort(places.begin(), places.end());
    for (std::size_t i = 1; i < places.size(); ++i) gaps.push_back(places[i] - places[i - 1]);
  }

 private:
  const SurfaceScan& _scan;
  std::unordered_map<int, std::vector<const RawDataPoint*>> _lines;
};

std::string DoubtOfSamples(const Tally& tally, double spacing, const SurfaceScan& scan) {
  const double expected = tally.length / spacing;
  const double missing = tally.Missing(spacing);
  const double lost =
      missing - static_cast<double>(tally.low.size()) - static_cast<double>(tally.off.size());
  const auto low = static_cast<double>(tally.low.size());
  const auto off = static_cast<double>(tally.off.size());
  const std::string head = PercentText(missing / expected) + " of the surface's samples within " +
                           MillimetreText(kZone * scan.point_spacing) + " of the border ";
  if (low >= off && low >= lost) {
    return head + "lie below the quality threshold of " + RoundedText(scan.quality_threshold) +
           " (half of these at " + RoundedText(Median(tally.low)) +
           " or below): the border is read too far out. Lower the threshold, or look from a "
           "smaller angle.";
  }
  if (off >= lost) {
    return head + "lie off the surface, half of these by " + MillimetreText(Median(tally.off)) +
           " or more: a groove, a step or a burr may be taken for the border. Look at the scan "
           "there.";
  }
  return head +
         "did not come back: the border is read too far out. Look for what weakens the beam or "
         "stands in its way, or look from a smaller angle.";
}

}  // namespace

std::vector<std::string> DoubtsOfBorder(const std::vector<std::vector<BorderLine>>& groups,
                                        const SurfaceScan& scan) {
  if (!(scan.point_spacing > 0.0)) return {};
  // What most measurements end with: nothing is missing, and nothing else is looked at.
  std::vector<std::vector<Outwards>> outwards(groups.size());
  std::vector<Tally> tallies(groups.size());
  std::vector<Triple> room;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    outwards[g].reserve(groups[g].size());
    for (const BorderLine& line : groups[g]) {
      const SeenLine seen = line.surface->cols() > 0 ? See(line, scan, room) : SeenLine();
      outwards[g].push_back(seen.outwards);
      tallies[g].Add(seen.tally);
    }
  }
  const auto lacks = [&](const Tally& tally) { return tally.Lacks(scan.point_spacing); };
  if (std::none_of(tallies.begin(), tallies.end(), lacks)) return {};

  const Returned returned(scan, groups);
  std::vector<double> gaps;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    for (std::size_t k = 0; k < groups[g].size(); ++k) {
      returned.Look(groups[g][k], outwards[g][k], tallies[g], gaps);
    }
  }
  // Where samples are lost, some gaps still have the spacing that was driven; the shortest come
  // from noise.
  double driven = scan.point_spacing;
  if (!gaps.empty()) {
    const auto quarter = gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 4);
    std::nth_element(gaps.begin(), quarter, gaps.end());
    driven = std::max(driven, *quarter);
  }
  std::vector<std::string> doubts;
  if (driven > kMostSpacing * scan.point_spacing) {
    doubts.push_back("The surface's samples lie " + MillimetreText(driven) + " apart, where " +
                     MillimetreText(scan.point_spacing) +
                     " was asked for: the border is known to no better. Let the instrument sample "
                     "as asked, or set \"PointSpacing\" to what it does.");
  }
  Tally lacking;
  for (const Tally& tally : tallies) {
    if (tally.Lacks(driven)) lacking.Add(tally);
  }
  if (lacking.length > 0.0) doubts.push_back(DoubtOfSamples(lacking, driven, scan));
  return doubts;
}

std::vector<BorderLine> BorderLines(const PointCloud& edges, Eigen::Index segment_row,
                                    const std::vector<PointCloud>& surface) {
  struct Line {
    int segment;
    const PointCloud* cloud;
  };
  std::vector<Line> by_segment;  // the first of a number stays in front of the others
  by_segment.reserve(surface.size());
  for (const PointCloud& line : surface) {
    if (line.cols() > 0) by_segment.push_back({SegmentOf(line, 0), &line});
  }
  std::stable_sort(by_segment.begin(), by_segment.end(),
                   [](const Line& a, const Line& b) { return a.segment < b.segment; });
  std::vector<BorderLine> lines;
  lines.reserve(static_cast<std::size_t>(edges.cols()));
  for (Eigen::Index j = 0; j < edges.cols(); ++j) {
    const int segment = static_cast<int>(edges.data()(segment_row, j));
    const auto line =
        std::lower_bound(by_segment.begin(), by_segment.end(), segment,
                         [](const Line& a, int number) { return a.segment < number; });
    if (line == by_segment.end() || line->segment != segment) continue;
    lines.push_back({segment, edges.point(j), line->cloud});
  }
  return lines;
}

std::vector<std::vector<BorderLine>> BorderLines(const std::vector<PointCloud>& edges,
                                                 const LineBins& surface) {
  constexpr Eigen::Index kSegmentRow = 4;
  std::vector<std::vector<BorderLine>> sides;
  for (std::size_t i = 0; i < edges.size(); ++i) {
    sides.push_back(BorderLines(edges[i], kSegmentRow, surface[i]));
  }
  return sides;
}

}  // namespace libmfx::features::shared
