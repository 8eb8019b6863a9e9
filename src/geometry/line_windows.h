#pragma once

#include <Eigen/Core>
#include <vector>

namespace libmfx::geometry {

/// The half Gaussians along scan lines, all of one width. Lines are much alike, within a scan and
/// from one feature to the next: windows that are not long are made once a thread and kept.
class LineWindows {
 public:
  /// \param sigma standard deviation, in lengths of the line's samples in use
  explicit LineWindows(double sigma) : _sigma(sigma) {}

  double sigma() const { return _sigma; }

  /// Gives the k samples in use of one line the elements of GaussianWindow(k, sigma), in column
  /// order; with `reversed` from its end, so that the last sample weighs most.
  /// \param weights of the line's `columns` samples: 1 for those in use, 0 for the others
  /// \param samples k
  void Apply(double* weights, Eigen::Index columns, Eigen::Index samples, bool reversed);

 private:
  const std::vector<double>& Window(Eigen::Index samples);

  double _sigma;
  std::vector<double> _long;  ///< the last one that was too long to keep
};

}  // namespace libmfx::geometry
