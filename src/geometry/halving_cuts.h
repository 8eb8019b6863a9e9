#pragma once

#include <Eigen/Core>
#include <utility>
#include <vector>

#include "libmfx/geometry/plane.h"
#include "line_windows.h"

/// \file
/// Robust fits by cuts: fit, drop what lies beyond half of the worst residual, and fit again.

namespace libmfx::geometry {

inline constexpr int kMostCuts = 10;
/// Of the worst residual in use: a sample beyond it is cut away.
inline constexpr double kCutFraction = 0.5;
/// A weight of no more than this counts as none.
inline constexpr double kLeastWeight = 2.220446049250313e-16;

/// Fits, and as long as the worst residual is not below `tolerance`, cuts and fits again.
/// \param fit bool(), false if there is nothing to go on from
/// \param worst double(), the largest residual in use of the last fit
/// \param cut void(double limit), leaves in use what lies no farther off than the limit
/// \returns false if a fit did
template <typename Fit, typename Worst, typename Cut>
bool HalveResiduals(double tolerance, Fit fit, Worst worst, Cut cut) {
  if (!fit()) return false;
  for (int i = 0; i < kMostCuts; ++i) {
    const double largest = worst();
    if (largest < tolerance) break;
    cut(largest * kCutFraction);
    if (!fit()) return false;
  }
  return true;
}

/// Sets the coordinates of points apart, one point after the other.
class PointRows {
 public:
  /// \param count of all points that are added
  explicit PointRows(Eigen::Index count) : _rows(count, 3), _x(_rows.data()) {}

  /// \param point x, y, z
  void Add(const double* point) {
    const Eigen::Index count = _rows.rows();
    _x[0] = point[0];
    _x[count] = point[1];
    _x[2 * count] = point[2];
    ++_x;
  }
  Eigen::MatrixX3d Take() && { return std::move(_rows); }

 private:
  Eigen::MatrixX3d _rows;
  double* _x;  ///< of the next point
};

/// Marks the samples of a line that are in use after the cuts, and on demand those beside them.
/// \returns how many are marked
Eigen::Index MarkInUse(const double* weights, Eigen::Index columns, bool neighbours, char* marks);

/// A scan line of a robust plane.
struct CutLine {
  Eigen::Index columns;
  bool reversed = false;  ///< whether its last sample weighs most, and not its first
};

/// The samples that a robust plane begins with: those no nearer than `min_distance` to a centre and
/// no farther than `max_distance`, metres.
struct CandidateRing {
  Eigen::Vector3d center;
  double min_distance;
  double max_distance;
  /// One for each sample, which counts where its own is above `min_quality`; null: all count.
  const Eigen::VectorXd* qualities = nullptr;
  double min_quality = 0.0;
  /// Whether the distance is that of the sample itself, and not of the one that gets the weight.
  bool own_distance = false;
};

/// How the cuts of a plane ended.
enum class CutsEnd {
  kFound,
  kNoFirstFit,  ///< fewer than three points
  kNoLaterFit,  ///< the same, after a cut
  kNotValid,    ///< the samples in use determine no plane
};

/// The robust plane of scan lines whose points stand side by side, with a weight for each point.
/// Along each line the weights fall as a half Gaussian over the samples in use.
///
/// A line without a sample in use does not advance the place at which the next line's weights are
/// written: these land on columns of an earlier line, and the last columns keep what the cut set.
class HalvingCuts {
 public:
  /// \param points all lines one after the other, shape (points, 3)
  /// \param lines their columns add up to the points
  HalvingCuts(Eigen::MatrixX3d points, std::vector<CutLine> lines);

  const Eigen::MatrixX3d& points() const { return _points; }
  /// One for each point: of the last fit, or what WeighCandidates gave.
  const Eigen::VectorXd& weights() const { return _weights; }
  /// The weights, for which the rest is given up.
  Eigen::VectorXd TakeWeights() && { return std::move(_weights); }

  /// The first weights: 1 for a candidate, then each line's window.
  /// \param is_candidate bool(own, place): `own` is the sample's column, and `place` the one that
  ///     gets the weight
  /// \param sigma of the windows, in lengths of the line's samples in use
  template <typename IsCandidate>
  void WeighCandidates(IsCandidate is_candidate, double sigma) {
    WeighLines(sigma, [&](Eigen::Index own, Eigen::Index place, Eigen::Index columns) {
      Eigen::Index candidates = 0;
      for (Eigen::Index i = 0; i < columns; ++i) {
        const bool candidate = is_candidate(own + i, place + i);
        _weights[place + i] = candidate ? 1.0 : 0.0;
        candidates += candidate ? 1 : 0;
      }
      return candidates;
    });
  }

  /// The same for candidates in a ring.
  void WeighAround(const CandidateRing& ring, double sigma);

  /// Fits and cuts until the worst residual in use, metres, is below `tolerance`.
  /// \param sigma of the windows after a cut
  /// \param plane the last fit, unless there was none at all
  CutsEnd Run(double sigma, double tolerance, Plane& plane);

 private:
  /// The windows of a width, which stay for as long as no other width is asked for.
  LineWindows& WindowsOf(double sigma) {
    if (_windows.sigma() != sigma) _windows = LineWindows(sigma);
    return _windows;
  }
  /// Fits the plane to the points with their weights, as Plane::LeastSquares does.
  bool Fit(Plane& plane) const;
  /// Weighs line by line.
  /// \param set_line Index(own, place, columns), sets the weights from `place` on to 1 or 0 for the
  ///     samples from `own` on, and returns how many are 1
  template <typename SetLine>
  void WeighLines(double sigma, SetLine set_line) {
    LineWindows& windows = WindowsOf(sigma);
    Eigen::Index own = 0;
    Eigen::Index place = 0;
    for (const CutLine& line : _lines) {
      const Eigen::Index candidates = set_line(own, place, line.columns);
      windows.Apply(_weights.data() + place, line.columns, candidates, line.reversed);
      own += line.columns;
      if (candidates > 0) place += line.columns;
    }
  }
  /// Weighs the points no farther off than `limit`; one that was cut away before can come back.
  void WeighNear(double limit, LineWindows& windows);

  Eigen::MatrixX3d _points;
  bool _moderate;  ///< every coordinate is finite and of moderate size
  std::vector<CutLine> _lines;
  Eigen::VectorXd _weights;
  Eigen::VectorXd _residuals;
  LineWindows _windows{0.0};
};

}  // namespace libmfx::geometry
