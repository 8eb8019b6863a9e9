#include "uncertainty/statistics.h"

#include <algorithm>
#include <cmath>

namespace libmfx::uncertainty {
namespace {

/// What JCGM 101, 7.9.4 asks of each sequence. Its interval leaves as many draws out at either end:
/// where the shortest one lies, which ends in all, scatters more than any use of it needs.
std::array<double, 4> OfSequence(const std::vector<double>& sorted) {
  const auto count = static_cast<double>(sorted.size());
  double sum = 0.0;
  for (const double x : sorted) sum += x;
  const double mean = sum / count;
  double squares = 0.0;
  for (const double x : sorted) squares += (x - mean) * (x - mean);
  const auto tail = static_cast<std::size_t>(0.025 * count);
  return {mean, std::sqrt(squares / (count - 1.0)), sorted[tail], sorted[sorted.size() - 1 - tail]};
}

/// Twice the standard deviation of the mean of the sequences' answers, the largest of the four.
double TwiceOpen(const std::vector<std::array<double, 4>>& answers) {
  const auto count = static_cast<double>(answers.size());
  double largest = 0.0;
  for (std::size_t i = 0; i < 4; ++i) {
    double mean = 0.0;
    for (const auto& answer : answers) mean += answer[i] / count;
    double squares = 0.0;
    for (const auto& answer : answers) squares += (answer[i] - mean) * (answer[i] - mean);
    largest = std::max(largest, squares / (count * (count - 1.0)));
  }
  return 2.0 * std::sqrt(largest);
}

}  // namespace

std::array<double, 2> ShortestInterval(const std::vector<double>& sorted, double share) {
  const auto count = static_cast<double>(sorted.size());
  const auto within = static_cast<std::size_t>(
      std::min(count - 1.0, std::floor(share * count + 0.5 * std::cbrt(count) + 0.5)));
  std::size_t best = 0;
  for (std::size_t i = 1; i + within < sorted.size(); ++i) {
    if (sorted[i + within] - sorted[i] < sorted[best + within] - sorted[best]) best = i;
  }
  return {sorted[best], sorted[best + within]};
}

double ToleranceOf(double standard, int digits) {
  if (!(standard > 0.0)) return 0.0;
  const double decade = std::floor(std::log10(standard));
  return 0.5 * std::pow(10.0, decade - digits + 1.0);
}

void Draws::Add(const std::vector<double>& row) {
  _numbers.insert(_numbers.end(), row.begin(), row.end());
}

Eigen::VectorXd Draws::Mean() const {
  const auto rows = static_cast<Eigen::Index>(_width);
  const auto columns = static_cast<Eigen::Index>(size());
  return Eigen::Map<const Eigen::MatrixXd>(_numbers.data(), rows, columns).rowwise().mean();
}

Eigen::MatrixXd Draws::Covariance() const {
  const auto rows = static_cast<Eigen::Index>(_width);
  const auto columns = static_cast<Eigen::Index>(size());
  if (columns < 2) return Eigen::MatrixXd::Zero(rows, rows);
  Eigen::MatrixXd off = Eigen::Map<const Eigen::MatrixXd>(_numbers.data(), rows, columns);
  off.colwise() -= Mean();
  return off * off.transpose() / static_cast<double>(columns - 1);
}

std::vector<double> Draws::Sorted(std::size_t column, std::size_t first, std::size_t count) const {
  std::vector<double> sorted;
  sorted.reserve(count);
  for (std::size_t i = first; i < first + count; ++i)
    sorted.push_back(_numbers[i * _width + column]);
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

int StandingDigits(const Draws& draws, std::size_t length, int most) {
  const std::size_t sequences = draws.size() / length;
  if (sequences < 2) return 0;
  const Eigen::MatrixXd covariance = draws.Covariance();
  int standing = most;
  for (std::size_t column = 0; column < draws.width(); ++column) {
    const auto i = static_cast<Eigen::Index>(column);
    const double standard = std::sqrt(covariance(i, i));
    if (!(standard > 0.0)) continue;  // it never differs
    std::vector<std::array<double, 4>> answers;
    for (std::size_t k = 0; k < sequences; ++k) {
      answers.push_back(OfSequence(draws.Sorted(column, k * length, length)));
    }
    const double open = TwiceOpen(answers);
    while (standing > 0 && open > ToleranceOf(standard, standing)) --standing;
  }
  return standing;
}

}  // namespace libmfx::uncertainty
