#pragma once

#include <Eigen/Core>
#include <cmath>

namespace libmfx::geometry::cylinder {

/// The one decomposition of the fits.
Eigen::VectorXd Solve(const Eigen::MatrixXd& matrix, const Eigen::VectorXd& right);

/// The damping of Levenberg-Marquardt by the rule of H. B. Nielsen (Damping parameter in
/// Marquardt's method, 1999).
class Damping {
 public:
  explicit Damping(double largest_diagonal);
  double mu() const { return _mu; }
  void Kept(double gain_ratio);
  void TakenBack();

 private:
  double _mu;
  double _nu;
};

/// The linearised residuals at a model: matrix * step = right leads to their least squares.
struct StepEquations {
  Eigen::MatrixXd matrix;  ///< J^T J over what is free
  Eigen::VectorXd right;   ///< -J^T r
};

/// When a descent ends.
struct DescentLimits {
  int most_rounds;
  double settled_fall;  ///< of the cost in a round, relative
};

struct Descent {
  bool settled = false;  ///< false: out of rounds, or numbers that are not finite
  int rounds = 0;        ///< steps tried, kept or taken back
};

/// Damped least squares.
///
/// The gain ratio is the actual fall of the cost over the fall that the linearised residuals
/// predict for the damped step. A step is kept if it lowers the cost. The relative fall that ends
/// the descent is taken over a step that was kept; a step taken back ends it only when even its
/// prediction is below that bound, which is where rounding hides every further fall.
///
/// \tparam Problem holds a model and the one tried last:
///     double cost(), of the model;
///     StepEquations Linearise(), at the model;
///     double Try(const Eigen::VectorXd& step), the cost of the model moved by a step;
///     void Keep(), the model tried last becomes the model
template <typename Problem>
Descent DampedDescent(Problem& problem, Damping damping, const DescentLimits& limits) {
  Descent descent;
  StepEquations equations;
  bool moved_on = true;
  while (!descent.settled && descent.rounds < limits.most_rounds) {
    ++descent.rounds;
    const double cost = problem.cost();
    if (cost == 0.0) {
      descent.settled = true;
      break;
    }
    if (moved_on) equations = problem.Linearise();
    Eigen::MatrixXd damped = equations.matrix;
    damped.diagonal().array() += damping.mu();
    if (!std::isfinite(cost) || !damped.allFinite() || !equations.right.allFinite()) break;
    const Eigen::VectorXd step = Solve(damped, equations.right);
    const double predicted = 0.5 * step.dot(damping.mu() * step + equations.right);
    const double fall = cost - problem.Try(step);
    moved_on = fall > 0.0 && predicted > 0.0;
    if (moved_on) {
      damping.Kept(fall / predicted);
      problem.Keep();
      descent.settled = fall < limits.settled_fall * cost;
    } else {
      damping.TakenBack();
      descent.settled = predicted < limits.settled_fall * cost;
    }
  }
  return descent;
}

}  // namespace libmfx::geometry::cylinder
