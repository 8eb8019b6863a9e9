#include "uncertainty/json.h"

namespace libmfx::uncertainty {
namespace {

using nlohmann::ordered_json;

ordered_json ArrayOf(const Eigen::VectorXd& v) {
  ordered_json array = ordered_json::array();
  for (const double x : v) array.push_back(x);
  return array;
}

/// One number as it is, three as an array.
ordered_json NumbersOf(const Eigen::VectorXd& v) {
  return v.size() == 1 ? ordered_json(v[0]) : ArrayOf(v);
}

ordered_json RowsOf(const Eigen::MatrixXd& m) {
  ordered_json rows = ordered_json::array();
  for (Eigen::Index i = 0; i < m.rows(); ++i) rows.push_back(ArrayOf(m.row(i)));
  return rows;
}

ordered_json QuantityOf(const QuantityUncertainty& q, const Eigen::Matrix3d& own) {
  ordered_json object = ordered_json::object();
  if (q.measured) object["measured"] = NumbersOf(*q.measured);
  object["mean"] = NumbersOf(q.mean);
  object["bias"] = NumbersOf(q.bias);
  object["standard"] = NumbersOf(q.covariance.diagonal().cwiseMax(0.0).cwiseSqrt());
  if (q.kind != Kind::kSize) object["covariance"] = RowsOf(q.covariance);
  ordered_json intervals = ordered_json::array();
  for (const auto& [low, high] : q.interval95) intervals.push_back({low, high});
  object["interval95"] = q.kind == Kind::kSize ? intervals[0] : intervals;
  if (q.kind == Kind::kPlace) {
    object["own"] = {{"axes", RowsOf(own.transpose())},
                     {"bias", ArrayOf(own.transpose() * q.bias)},
                     {"covariance", RowsOf(own.transpose() * q.covariance * own)}};
  }
  return object;
}

}  // namespace

nlohmann::ordered_json JsonOf(const Uncertainty& answer) {
  ordered_json object = ordered_json::object();
  const auto share = [](long long part, long long of) {
    return of > 0 ? static_cast<double>(part) / static_cast<double>(of) : 0.0;
  };
  object["trials"] = answer.trials;
  object["successes"] = answer.successes;
  object["success_share"] = share(answer.successes, answer.trials);
  object["warned_share"] = share(answer.warned, answer.successes);
  object["digits"] = answer.digits;
  if (answer.broken_off) object["broken_off"] = true;
  object["quantities"] = ordered_json::object();
  for (const QuantityUncertainty& q : answer.quantities) {
    object["quantities"][q.key] = QuantityOf(q, answer.own);
  }
  object["repeated"] = answer.repeated;
  return object;
}

}  // namespace libmfx::uncertainty
