#include "inspection/characteristics.h"

#include <algorithm>

#include "inspection/evaluator.h"

namespace libmfx::inspection {
namespace {

bool AreInPlan(const Characteristic& characteristic, const Plan& plan) {
  const auto& features = characteristic.features;
  return !features.empty() && std::all_of(features.begin(), features.end(),
                                          [&](std::size_t i) { return i < plan.features.size(); });
}

}  // namespace

std::optional<double> ValueOf(const Characteristic& characteristic, const Plan& plan,
                              const std::vector<FeatureNumbers>& measured) {
  if (!AreInPlan(characteristic, plan)) return std::nullopt;
  std::vector<FeatureNumbers> own;
  own.reserve(characteristic.features.size());
  for (const std::size_t i : characteristic.features) {
    if (i >= measured.size()) return std::nullopt;
    own.push_back(measured[i]);
  }
  return Evaluator(characteristic, plan).Value(own);
}

double NominalOf(const Characteristic& characteristic, const Plan& plan) {
  if (!AreInPlan(characteristic, plan)) return FeatureNumbers::kNone;
  return Evaluator(characteristic, plan).nominal();
}

}  // namespace libmfx::inspection
