#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "inspection/alignment.h"
#include "inspection/alignment_conditions.h"

namespace libmfx::inspection {
namespace {

constexpr int kMostSteps = 60;
constexpr double kMostTurn = 0.5;  // rad of one step, beyond which its line is no guide

/// Columns are steps, at most six; never on the heap.
using Steps = Eigen::Matrix<double, 6, Eigen::Dynamic, Eigen::ColMajor, 6, 6>;
using Square = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor, 6, 6>;

/// A datum with what it takes. The steps are those of the nominals, along the part's axes, so that
/// they are the same under every pose.
struct Held {
  std::size_t first = 0, last = 0;  ///< its conditions, the last one excluded
  Steps taken;                      ///< steps that it decides
};

std::string DatumName(const std::vector<DatumPlaces>& datums, std::size_t i) {
  if (datums[i].name.empty()) return "datum " + std::to_string(i + 1);
  return "datum '" + datums[i].name + "'";
}

/// For people, the datum with a place that cannot be used.
std::string WhichIsUnfit(const std::vector<DatumPlaces>& datums) {
  std::string why;
  for (std::size_t k = 0; k < datums.size(); ++k) {
    if (!ConditionsOf(datums[k].places, {0.0}, nullptr, why)) {
      return DatumName(datums, k) + ": " + why;
    }
  }
  return why;
}

/// What each datum takes of what those before it leave.
std::optional<std::vector<Held>> Share(const std::vector<DatumPlaces>& datums,
                                       const Conditions& conditions, std::string& why) {
  std::vector<Held> shared(datums.size());
  Steps free = Matrix6d::Identity();
  std::size_t next = 0;
  for (std::size_t k = 0; k < datums.size(); ++k) {
    Held& held = shared[k];
    held.first = next;
    held.last = next += datums[k].places.size();
    Matrix6d normal = Matrix6d::Zero();
    double count = 0.0;
    for (std::size_t i = held.first; i < held.last; ++i) {
      const Condition& condition = conditions.all[i];
      AddNormal(condition.nominal, condition.directions, conditions.extent, normal);
      count += condition.count;
    }
    Eigen::Index open = 0;
    Square vectors(free.cols(), free.cols());
    if (free.cols() > 0) {
      const Eigen::SelfAdjointEigenSolver<Square> solver(Square(free.transpose() * normal * free));
      while (open < free.cols() && !(solver.eigenvalues()[open] > kOpen * kOpen * count)) ++open;
      vectors = solver.eigenvectors();
    }
    held.taken = free * vectors.rightCols(free.cols() - open);
    if (held.taken.cols() == 0) {
      why = DatumName(datums, k) + " holds nothing that those before it leave free";
      if (count == 0.0) why = DatumName(datums, k) + " holds no place in any direction";
      return std::nullopt;
    }
    free = Steps(free * vectors.leftCols(open));
  }
  return shared;
}

/// Lexicographic least squares of a pose.
class Search {
 public:
  Search(Conditions& conditions, const std::vector<Held>& shared, const Eigen::Isometry3d& start)
      : _conditions(conditions), _shared(shared), _stand(start, conditions.middle) {
    Place();
  }

  bool Run() {
    for (int i = 0; i < kMostSteps; ++i) {
      Vector6d step = Vector6d::Zero();
      for (const Held& held : _shared) step += held.taken * Within(held, step);
      if (!step.allFinite()) return false;
      const double turn = step.head<3>().norm() / _conditions.extent;
      if (turn > kMostTurn) step *= kMostTurn / turn;
      _stand = _stand.Stepped(step, _conditions.extent);
      Place();
      if (step.norm() <= _stand.Still(_conditions.extent)) return true;
    }
    return false;
  }

  PoseFit Fit() const {
    const Matrix3d& rotation = _stand.rotation();
    PoseFit fit;
    fit.pose = _stand.Pose(_conditions.middle);
    fit.middle = _conditions.middle;
    fit.covariance = InInstrument(Covariance(), _conditions.extent, rotation);
    fit.residuals.reserve(_conditions.all.size());
    fit.redundancy = _conditions.count;
    for (const Held& held : _shared) fit.redundancy -= static_cast<int>(held.taken.cols());
    for (const Condition& condition : _conditions.all) {
      const Matrix3d weight =
          WeightOf(condition, rotation.transpose() * condition.covariance * rotation);
      fit.residuals.push_back(condition.residual);
      fit.chi_squared += condition.residual.dot(weight * condition.residual);
    }
    return fit;
  }

 private:
  void Place() {
    for (Condition& condition : _conditions.all) _stand.Place(condition);
  }

  Matrix6d NormalOf(const Held& held) const {
    Matrix6d normal = Matrix6d::Zero();
    for (std::size_t i = held.first; i < held.last; ++i) {
      const Condition& condition = _conditions.all[i];
      AddNormal(condition.place, condition.directions, _conditions.extent, normal);
    }
    return normal;
  }

  /// How far to go along the steps that a datum takes, after `before`.
  Eigen::Matrix<double, Eigen::Dynamic, 1, Eigen::ColMajor, 6, 1> Within(
      const Held& held, const Vector6d& before) const {
    const Matrix6d normal = NormalOf(held);
    Vector6d gradient = normal * before;
    for (std::size_t i = held.first; i < held.last; ++i) {
      const Condition& condition = _conditions.all[i];
      AddGradient(condition, condition.directions, _conditions.extent, gradient);
    }
    const Square within = held.taken.transpose() * normal * held.taken;
    return -within.ldlt().solve(held.taken.transpose() * gradient);
  }

  /// The first condition that was measured as this one was: the same measurement.
  std::size_t FirstAlike(std::size_t i) const {
    for (std::size_t j = 0; j < i; ++j) {
      if (_conditions.all[j].measured == _conditions.all[i].measured &&
          _conditions.all[j].nominal == _conditions.all[i].nominal) {
        return j;
      }
    }
    return i;
  }

  /// Of steps, by what each measurement does to the pose.
  Matrix6d Covariance() const {
    const std::size_t count = _conditions.all.size();
    std::vector<Eigen::Matrix<double, 6, 3>> gains(count, Eigen::Matrix<double, 6, 3>::Zero());
    std::vector<std::size_t> alike(count);
    for (std::size_t i = 0; i < count; ++i) alike[i] = FirstAlike(i);
    for (const Held& held : _shared) {
      const Matrix6d normal = NormalOf(held);
      const Square within = held.taken.transpose() * normal * held.taken;
      const Square inverse =
          within.ldlt().solve(Square(Square::Identity(within.rows(), within.cols())));
      const Matrix6d answer = held.taken * inverse * held.taken.transpose();
      const Matrix6d kept = Matrix6d::Identity() - answer * normal;
      for (auto& gain : gains) gain = (kept * gain).eval();
      for (std::size_t i = held.first; i < held.last; ++i) {
        gains[alike[i]] -= answer * Derivative(_conditions.all[i]);
      }
    }
    const Matrix3d& rotation = _stand.rotation();
    Matrix6d covariance = Matrix6d::Zero();
    for (std::size_t i = 0; i < count; ++i) {
      if (alike[i] != i) continue;
      const Matrix3d turned = rotation.transpose() * _conditions.all[i].covariance * rotation;
      covariance += gains[i] * turned * gains[i].transpose();
    }
    return covariance;
  }

  /// Of the gradient, by the measured place along the part's axes.
  Eigen::Matrix<double, 6, 3> Derivative(const Condition& condition) const {
    Eigen::Matrix<double, 6, 3> derivative;
    for (Eigen::Index i = 0; i < 3; ++i) {
      Condition moved = condition;
      moved.residual = condition.directions.col(i);
      Vector6d gradient = Vector6d::Zero();
      AddGradient(moved, condition.directions, _conditions.extent, gradient);
      derivative.col(i) = gradient;
    }
    return derivative;
  }

  Conditions& _conditions;
  const std::vector<Held>& _shared;
  Stand _stand;
};

}  // namespace

std::optional<PoseFit> FitDatums(const std::vector<DatumPlaces>& datums,
                                 const Eigen::Isometry3d& start, std::string& why) {
  if (!IsRigid(start, "the pose to start from", why)) return std::nullopt;
  if (datums.empty()) {
    why = "there is no datum";
    return std::nullopt;
  }
  std::vector<AlignedPlace> places;
  for (const DatumPlaces& datum : datums) {
    places.insert(places.end(), datum.places.begin(), datum.places.end());
  }
  std::optional<Conditions> conditions = ConditionsOf(places, {0.0}, nullptr, why);
  if (!conditions) {
    why = WhichIsUnfit(datums);
    return std::nullopt;
  }
  const auto shared = Share(datums, *conditions, why);
  if (!shared) return std::nullopt;
  Search search(*conditions, *shared, start);
  if (search.Run()) {
    const PoseFit fit = search.Fit();
    if (fit.pose.matrix().allFinite() && fit.covariance.allFinite()) return fit;
  }
  why = "no pose fits the datums: least squares did not settle";
  return std::nullopt;
}

}  // namespace libmfx::inspection
