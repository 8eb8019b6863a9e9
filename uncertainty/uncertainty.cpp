#include "uncertainty/uncertainty.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uncertainty/plan.h"

namespace libmfx::uncertainty {

double QuantityUncertainty::Standard(Eigen::Index i) const { return std::sqrt(covariance(i, i)); }

const QuantityUncertainty* Uncertainty::Find(std::string_view key) const {
  const auto found = std::find_if(quantities.begin(), quantities.end(),
                                  [&](const QuantityUncertainty& q) { return q.key == key; });
  return found == quantities.end() ? nullptr : &*found;
}

Uncertainty AnswerOf(const Question& question, const Trials& trials) {
  Uncertainty answer;
  answer.trials = trials.trials;
  answer.successes = trials.successes;
  answer.warned = trials.warned;
  answer.digits = trials.digits;
  answer.broken_off = trials.broken_off;
  answer.repeated = question.repeated;
  const Twin& twin = question.plan.twin;
  answer.own.col(0) = twin.tangent;
  answer.own.col(1) = twin.normal.cross(twin.tangent);
  answer.own.col(2) = twin.normal;
  if (trials.successes < 2) return answer;
  const Eigen::VectorXd bias = trials.errors.Mean();
  const Eigen::VectorXd mean = trials.results.Mean();
  const Eigen::MatrixXd covariance = trials.errors.Covariance();
  const auto count = static_cast<std::size_t>(trials.successes);
  std::size_t column = 0;
  for (const Layout& row : trials.layout) {
    const auto first = static_cast<Eigen::Index>(column);
    const auto numbers = static_cast<Eigen::Index>(NumbersOf(row.kind));
    QuantityUncertainty quantity;
    quantity.key = row.key;
    quantity.kind = row.kind;
    quantity.bias = bias.segment(first, numbers);
    quantity.mean = mean.segment(first, numbers);
    quantity.covariance = covariance.block(first, first, numbers, numbers);
    const Value* measured =
        question.measured ? uncertainty::Find(*question.measured, row.key) : nullptr;
    if (measured != nullptr) {
      quantity.measured = measured->numbers;
      quantity.mean = measured->numbers - quantity.bias;
    }
    for (Eigen::Index i = 0; i < numbers; ++i, ++column) {
      const Draws& draws = measured != nullptr ? trials.errors : trials.results;
      auto [low, high] = ShortestInterval(draws.Sorted(column, 0, count), 0.95);
      if (measured != nullptr) {
        // The true value is the measured one less its error.
        low = std::exchange(high, measured->numbers[i] - low);
        low = measured->numbers[i] - low;
      }
      quantity.interval95.push_back({low, high});
    }
    answer.quantities.push_back(std::move(quantity));
  }
  return answer;
}

}  // namespace libmfx::uncertainty
