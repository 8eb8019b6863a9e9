#include <ceres/ceres.h>

#include <cmath>
#include <memory>
#include <string>

#include "host/module.h"
#include "inspection/adjustment_module.h"

namespace libmfx::inspection {
namespace {

constexpr int kMostSteps = 100;  // of one adjustment with its weights

/// Measured less adjusted place in the part's axes, whitened.
class SightingCost {
 public:
  SightingCost(const Eigen::Vector3d& measured, const Eigen::Matrix3d& root)
      : _measured(measured), _root(root) {}

  template <typename T>
  bool operator()(const T* turn, const T* middle, const T* place, T* residual) const {
    using Vector = Eigen::Matrix<T, 3, 1>;
    const Eigen::Map<const Eigen::Quaternion<T>> rotation(turn);
    const Vector off = _measured.cast<T>() - Eigen::Map<const Vector>(middle);
    const Vector less = rotation.conjugate() * off - Eigen::Map<const Vector>(place);
    Eigen::Map<Vector> whitened(residual);
    whitened = _root.cast<T>() * less;
    return true;
  }

 private:
  Eigen::Vector3d _measured;
  Eigen::Matrix3d _root;
};

/// A place less its nominal, in standard deviations.
class NominalCost {
 public:
  NominalCost(const Eigen::Vector3d& nominal, double standard)
      : _nominal(nominal), _standard(standard) {}

  template <typename T>
  bool operator()(const T* place, T* residual) const {
    for (int i = 0; i < 3; ++i) residual[i] = (place[i] - _nominal[i]) / _standard;
    return true;
  }

 private:
  Eigen::Vector3d _nominal;
  double _standard;
};

void AddBlocks(StationNet& net, ceres::Problem& problem, ceres::ParameterBlockOrdering& order) {
  for (StationUnknown& station : net.stations) {
    problem.AddParameterBlock(station.turn.coeffs().data(), 4, new ceres::EigenQuaternionManifold);
    problem.AddParameterBlock(station.middle.data(), 3);
    order.AddElementToGroup(station.turn.coeffs().data(), 1);
    order.AddElementToGroup(station.middle.data(), 1);
  }
  for (std::size_t i = 0; i < net.places.size(); ++i) {
    if (!net.places[i].allFinite()) continue;
    double* place = net.places[i].data();
    problem.AddParameterBlock(place, 3);
    order.AddElementToGroup(place, 0);
    if (!(net.standards[i] > 0.0)) {
      problem.SetParameterBlockConstant(place);
      continue;
    }
    problem.AddResidualBlock(new ceres::AutoDiffCostFunction<NominalCost, 3, 3>(
                                 new NominalCost(net.nominals[i], net.standards[i])),
                             nullptr, place);
  }
  for (const SightingTerm& term : net.terms) {
    StationUnknown& station = net.stations[term.station];
    problem.AddResidualBlock(new ceres::AutoDiffCostFunction<SightingCost, 3, 4, 3, 3>(
                                 new SightingCost(term.measured, term.root)),
                             nullptr, station.turn.coeffs().data(), station.middle.data(),
                             net.places[term.reference].data());
  }
}

bool Solve(StationNet& net, double& chi_squared) {
  ceres::Problem problem;
  ceres::Solver::Options options;
  options.linear_solver_ordering = std::make_shared<ceres::ParameterBlockOrdering>();
  AddBlocks(net, problem, *options.linear_solver_ordering);
  options.linear_solver_type = ceres::DENSE_SCHUR;
  options.logging_type = ceres::SILENT;
  options.num_threads = 1;
  options.max_num_iterations = kMostSteps;
  // Steps of a nanometre count: all that rounding leaves is looked for.
  options.function_tolerance = 1e-16;
  options.gradient_tolerance = 1e-14;
  options.parameter_tolerance = 1e-14;
  ceres::Solver::Summary summary;
  ceres::Solve(options, &problem, &summary);
  if (!summary.IsSolutionUsable() || !std::isfinite(summary.final_cost)) return false;
  chi_squared = 2.0 * summary.final_cost;
  return true;
}

}  // namespace
}  // namespace libmfx::inspection

extern "C" __attribute__((visibility("default"))) const void* mfx_module() {
  using namespace libmfx;
  static constexpr inspection::AdjustmentModule kModule = {
      [](inspection::StationNet& net, double& chi_squared, bool& settles) {
        return host::WhatFails([&] { settles = inspection::Solve(net, chi_squared); });
      },
  };
  return &kModule;
}
