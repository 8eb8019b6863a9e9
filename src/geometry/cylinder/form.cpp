#include "geometry/cylinder/form.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <vector>

#include "geometry/decompositions.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr Eigen::Index kFewestPoints = 50;  // below, the form can't be told from noise
constexpr Eigen::Index kMostPoints = 8192;  // looked at
constexpr int kFewestLobes = 2, kMostLobes = 8;
constexpr int kLobeColumns = 2 * (kMostLobes - kFewestLobes + 1);
// Columns of the form: cosine and sine of each wave, then these.
constexpr int kTaper = kLobeColumns, kBarrel = kTaper + 1, kBendX = kTaper + 2;
constexpr int kFormColumns = kTaper + 4;
constexpr int kHeightColumns = kFormColumns - kLobeColumns;
// Columns of the cylinder: radius, shift of the axis, and its turn, by what it shifts the end of a
// half of the height.
constexpr int kWidth = 0, kShiftX = 1, kShiftY = 2, kTurnX = 3, kTurnY = 4, kWallColumns = 5;
// Points whose rows are held at a time.
constexpr Eigen::Index kBlock = 256;
// Residuals below this share of the radius are rounding.
constexpr double kLeastNoise = 1e-9;

using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;
using FormMatrix = Eigen::Matrix<double, kFormColumns, kFormColumns>;
using FormVector = Eigen::Matrix<double, kFormColumns, 1>;

// The points that are looked at, as the fitted cylinder sees them.
struct Unrolled {
  Eigen::ArrayXd cosine, sine;  // of the angle around the axis, from the middle of the points
  Eigen::ArrayXd height;        // along the axis: -1 at the lower end, 1 at the upper one
  Eigen::ArrayXd residual;
  double half_height = 0.0;
  double middle = 0.0;  // height of its middle over the reference height
};

Unrolled Unroll(const Points& points, const Model& model) {
  const Eigen::Index count = std::min(points.size(), kMostPoints);
  Unrolled wall;
  for (Eigen::ArrayXd* column : {&wall.cosine, &wall.sine, &wall.height, &wall.residual})
    column->resize(count);
  const Eigen::Vector3d u = model.direction.normalized();
  const Eigen::Vector3d origin(model.offset.x(), model.offset.y(), model.reference_height);
  Eigen::Matrix3Xd out(3, count);
  for (Eigen::Index i = 0; i < count; ++i) {
    // In whole numbers, so that every n-th of the points is looked at and the last of them too.
    const Eigen::Index place = i * points.size() / count;
    const Eigen::Vector3d q = points.at(place) - origin;
    wall.height[i] = q.dot(u);
    const Eigen::Vector3d e = q - wall.height[i] * u;
    const double distance = e.norm();
    wall.residual[i] = distance - model.radius + points.depth[place];
    out.col(i) = e / std::max(distance, 1e-150);
  }
  Eigen::Vector3d first = out.rowwise().sum();
  first -= first.dot(u) * u;
  if (!(first.norm() > 1e-6 * static_cast<double>(count))) first = u.unitOrthogonal();
  first.normalize();
  wall.cosine = (first.transpose() * out).array();
  wall.sine = (u.cross(first).transpose() * out).array();
  const double low = wall.height.minCoeff(), high = wall.height.maxCoeff();
  wall.half_height = 0.5 * (high - low);
  wall.middle = 0.5 * (high + low);
  wall.height = (wall.height - wall.middle) / std::max(wall.half_height, 1e-150);
  return wall;
}

constexpr int kColumnsOfAll = kWallColumns + kFormColumns + 1;
using AllColumns = Eigen::Matrix<double, kColumnsOfAll, kColumnsOfAll>;

// The products of all columns: of the cylinder, of the form, and the residual.
AllColumns Products(const Unrolled& wall) {
  AllColumns products = AllColumns::Zero();
  Eigen::Matrix<double, kBlock, kColumnsOfAll> rows;
  for (Eigen::Index first = 0; first < wall.residual.size(); first += kBlock) {
    const Eigen::Index n = std::min(kBlock, wall.residual.size() - first);
    const Eigen::ArrayXd c = wall.cosine.segment(first, n), s = wall.sine.segment(first, n);
    const Eigen::ArrayXd t = wall.height.segment(first, n);
    const Eigen::ArrayXd h = t + wall.middle / wall.half_height;  // over the reference height
    const auto column = [&](int place) { return rows.col(place).head(n).array(); };
    column(kWidth).setOnes();
    column(kShiftX) = c;
    column(kShiftY) = s;
    column(kTurnX) = h * c;
    column(kTurnY) = h * s;
    Eigen::ArrayXd cosine = c, sine = s;
    for (int lobes = kFewestLobes; lobes <= kMostLobes; ++lobes) {
      const Eigen::ArrayXd turned = cosine * c - sine * s;
      sine = cosine * s + sine * c;
      cosine = turned;
      column(kWallColumns + 2 * (lobes - kFewestLobes)) = cosine;
      column(kWallColumns + 2 * (lobes - kFewestLobes) + 1) = sine;
    }
    // A parabola with a mean of 0 over the height: the cylinder is the mean of the wall.
    const Eigen::ArrayXd bulge = 1.0 / 3.0 - t * t;
    column(kWallColumns + kTaper) = 0.5 * t;
    column(kWallColumns + kBarrel) = bulge;
    column(kWallColumns + kBendX) = bulge * c;
    column(kWallColumns + kBendX + 1) = bulge * s;
    column(kColumnsOfAll - 1) = wall.residual.segment(first, n);
    products.noalias() += rows.topRows(n).transpose() * rows.topRows(n);
  }
  return products;
}

// What the residuals know of the form, with all that a free cylinder can follow taken out.
struct Seen {
  Eigen::Matrix<double, kWallColumns, kFormColumns> taken;  // by the cylinder, of each column
  FormMatrix matrix;                                        // of the normal equations
  FormVector gradient;
  double noise = 0.0;  // variance of a residual beside cylinder and form
  double all = 0.0;    // the same beside the cylinder alone
  Eigen::Index points = 0;
};

using Modes = Eigen::SelfAdjointEigenSolver<Matrix>;

// In one place, whatever makes up the matrix: a compiler takes seconds for a decomposition.
Modes ModesOf(const Matrix& matrix) { return Modes(matrix); }

// The noise beside the form. On an arc some waves look like others: those that nothing tells apart
// take no freedom.
void TellNoise(double squares, Seen& seen) {
  const Modes modes = ModesOf(seen.matrix);
  const FormVector along = modes.eigenvectors().transpose() * seen.gradient;
  const auto count = static_cast<double>(seen.points);
  double left = squares, freedom = count - kWallColumns;
  seen.all = std::max(left / freedom, kLeastNoise * kLeastNoise);
  for (int i = 0; i < kFormColumns; ++i) {
    const double value = modes.eigenvalues()[i];
    if (!(value > 1e-9 * count)) continue;
    left -= along[i] * along[i] / value;
    freedom -= 1.0;
  }
  seen.noise = std::max(left / freedom, kLeastNoise * kLeastNoise);
}

// What a fit with a fixed radius or axis leaves of a wall of another one is no form either: so all
// five columns of the cylinder are taken out. What the fit took is the free ones' alone.
std::optional<Seen> TakeOutCylinder(const AllColumns& products, Eigen::Index points, bool fix_axis,
                                    bool fix_radius) {
  constexpr int kRest = kFormColumns + 1;
  const Eigen::Matrix<double, kWallColumns, kRest> across =
      products.block<kWallColumns, kRest>(0, kWallColumns);
  const Eigen::LDLT<Eigen::Matrix<double, kWallColumns, kWallColumns>> cylinder(
      products.topLeftCorner<kWallColumns, kWallColumns>());
  if (cylinder.info() != Eigen::Success || !(cylinder.rcond() > 1e-12)) return std::nullopt;
  const Eigen::Matrix<double, kRest, kRest> left =
      products.bottomRightCorner<kRest, kRest>() - across.transpose() * cylinder.solve(across);
  if (!left.allFinite()) return std::nullopt;
  Seen seen;
  seen.matrix = left.topLeftCorner<kFormColumns, kFormColumns>();
  seen.gradient = left.topRightCorner<kFormColumns, 1>();
  seen.points = points;
  TellNoise(left(kFormColumns, kFormColumns), seen);

  std::vector<int> free = {kShiftX, kShiftY};
  if (!fix_axis) free.insert(free.end(), {kTurnX, kTurnY});
  if (!fix_radius) free.push_back(kWidth);
  seen.taken.setZero();
  const Matrix of_free = products(free, free), across_free = across(free, Eigen::all);
  const Matrix taken = SolveAllWith(DecomposeSymmetric(of_free), across_free);
  for (std::size_t i = 0; i < free.size(); ++i)
    seen.taken.row(free[i]) = taken.row(static_cast<Eigen::Index>(i)).head(kFormColumns);
  return seen;
}

// A supposition about the form: these of the columns of a group have one variance, the others none.
struct Supposition {
  std::vector<int> columns;
  double share;  // of the belief, before the residuals were seen
};

// A size that the form may have, and what it is believed to be before and after.
struct Candidate {
  const std::vector<int>* columns;
  double variance;
  double weight;  // a logarithm
};

// How likely the residuals are with each of the sizes, beside a form of none.
void Weigh(const Matrix& matrix, const Vector& gradient, double noise,
           const Supposition& supposition, const std::vector<double>& sizes, double belief,
           std::vector<Candidate>& candidates) {
  const Modes modes = ModesOf(matrix(supposition.columns, supposition.columns));
  const Vector slope = gradient(supposition.columns);
  const Eigen::ArrayXd squares =
      (modes.eigenvectors().transpose() * slope).array().square() / (noise * noise);
  const Eigen::ArrayXd values = modes.eigenvalues().array().max(0.0) / noise;
  for (const double size : sizes) {
    const double variance = size * size;
    const Eigen::ArrayXd grown = 1.0 + variance * values;
    const double likelihood = 0.5 * ((squares * variance / grown).sum() - grown.log().sum());
    candidates.push_back(
        {&supposition.columns, variance, likelihood + std::log(belief * supposition.share / size)});
  }
}

// The expected variance of each column, over the suppositions and over the sizes that the form may
// have. `matrix` and `gradient` are of the group alone.
//
// Most walls are believed to be ideal, and a size the less likely the larger it is, in inverse
// proportion: so noise is not taken for form, and one column alone has a finite variance.
Vector ExpectedVariances(const Matrix& matrix, const Vector& gradient, double noise,
                         Eigen::Index points, const std::vector<Supposition>& suppositions) {
  constexpr double kIdeal = 0.95;
  constexpr double kLeast = 3.0;     // smallest size, in standard uncertainties of a mean
  constexpr double kLargest = 0.05;  // nominal radii
  constexpr double kStep = 1.4142135;
  std::vector<double> sizes;
  double inverses = 0.0;
  const double least = kLeast * std::sqrt(noise / static_cast<double>(points));
  for (double size = least; size < kLargest; size *= kStep) {
    sizes.push_back(size);
    inverses += 1.0 / size;
  }
  std::vector<Candidate> candidates;
  for (const Supposition& supposition : suppositions)
    Weigh(matrix, gradient, noise, supposition, sizes, (1.0 - kIdeal) / inverses, candidates);
  double greatest = std::log(kIdeal);
  for (const Candidate& each : candidates) greatest = std::max(greatest, each.weight);
  double sum = std::exp(std::log(kIdeal) - greatest);
  Vector variances = Vector::Zero(gradient.size());
  for (const Candidate& each : candidates) {
    const double weight = std::exp(each.weight - greatest);
    sum += weight;
    for (const int column : *each.columns) variances[column] += weight * each.variance;
  }
  return variances / sum;
}

std::vector<Supposition> OfLobes() {
  std::vector<Supposition> all = {{{}, 0.5}};
  constexpr int kWaves = kLobeColumns / 2;
  constexpr double kShare = 0.5 / kWaves;
  for (int column = 0; column < kLobeColumns; column += 2) {
    all.front().columns.insert(all.front().columns.end(), {column, column + 1});
    all.push_back({{column, column + 1}, kShare});
  }
  return all;
}

std::vector<Supposition> OfHeights() {
  constexpr int kFirst = kLobeColumns;
  return {{{0, 1, 2, 3}, 0.25},
          {{kTaper - kFirst}, 0.25},
          {{kBarrel - kFirst}, 0.25},
          {{kBendX - kFirst, kBendX + 1 - kFirst}, 0.25}};
}

// The variances of the lobes with all that the heights' columns can follow taken out, then those of
// the heights' columns with the lobes as large as that.
FormVector Variances(const Seen& seen) {
  const Matrix lobes = seen.matrix.topLeftCorner<kLobeColumns, kLobeColumns>();
  const Matrix across = seen.matrix.topRightCorner<kLobeColumns, kHeightColumns>();
  const Matrix heights = seen.matrix.bottomRightCorner<kHeightColumns, kHeightColumns>();
  const Vector lobe_gradient = seen.gradient.head<kLobeColumns>();
  const Vector height_gradient = seen.gradient.tail<kHeightColumns>();
  FormVector variances;
  const Matrix ridge =
      1e-9 * static_cast<double>(seen.points) * Matrix::Identity(kHeightColumns, kHeightColumns);
  const Ldlt solver = DecomposeSymmetric(heights + ridge);
  static const std::vector<Supposition> of_lobes = OfLobes(), of_heights = OfHeights();
  variances.head<kLobeColumns>() =
      ExpectedVariances(lobes - across * SolveAllWith(solver, across.transpose()),
                        lobe_gradient - across * SolveWith(solver, height_gradient), seen.noise,
                        seen.points, of_lobes);
  const Vector sizes = variances.head<kLobeColumns>().cwiseSqrt();
  const Matrix scaled = sizes.asDiagonal() * lobes * sizes.asDiagonal();
  const Ldlt damped =
      DecomposeSymmetric(scaled + seen.noise * Matrix::Identity(kLobeColumns, kLobeColumns));
  const Matrix beside = sizes.asDiagonal() * across;
  variances.tail<kHeightColumns>() = ExpectedVariances(
      heights - beside.transpose() * SolveAllWith(damped, beside),
      height_gradient - beside.transpose() * SolveWith(damped, sizes.asDiagonal() * lobe_gradient),
      seen.noise, seen.points, of_heights);
  return variances;
}

double Root(double value) { return std::sqrt(std::max(0.0, value)); }

// The likeliest form, each column drawn towards 0 by its variance.
WallForm LikeliestForm(const Seen& seen, const FormVector& variances) {
  const FormVector sizes = variances.cwiseSqrt();
  const FormMatrix system = sizes.asDiagonal() * seen.matrix * sizes.asDiagonal();
  const Ldlt solver = DecomposeSymmetric(system + seen.noise * FormMatrix::Identity());
  const FormVector values =
      sizes.asDiagonal() * FormVector(SolveWith(solver, sizes.asDiagonal() * seen.gradient));
  const FormMatrix damped = SolveAllWith(solver, FormMatrix(sizes.asDiagonal()));
  const FormMatrix covariance = seen.noise * (sizes.asDiagonal() * damped);
  // Length of a pair of columns, and the uncertainty along it.
  const auto pair = [&](int column, double& length, double& uncertainty) {
    const Eigen::Vector2d value = values.segment<2>(column);
    const Eigen::Matrix2d block = covariance.block<2, 2>(column, column);
    length = value.norm();
    const Eigen::Vector2d along = value / std::max(length, 1e-300);
    uncertainty = length > 0.0 ? Root(along.dot(block * along)) : Root(0.5 * block.trace());
  };
  WallForm form;
  for (int column = 0; column < kLobeColumns; column += 2) {
    double amplitude = 0.0, uncertainty = 0.0;
    pair(column, amplitude, uncertainty);
    if (form.lobes != 0 && !(2.0 * amplitude > form.roundness)) continue;
    form.lobes = kFewestLobes + column / 2;
    form.roundness = 2.0 * amplitude;
    form.roundness_uncertainty = 2.0 * uncertainty;
  }
  form.taper = values[kTaper];
  form.taper_uncertainty = Root(covariance(kTaper, kTaper));
  form.barrel = values[kBarrel];
  form.barrel_uncertainty = Root(covariance(kBarrel, kBarrel));
  pair(kBendX, form.bend, form.bend_uncertainty);
  return form;
}

}  // namespace

// With the seen part from -1 to 1, and the whole from m - w to m + w: the least squares line
// through a parabola 1/3 - t^2 over the whole leans by -2 m and passes t = 0 at 1/3 + m^2 - w^2/3;
// the mean over the whole is 1/3 - m^2 - w^2/3 of the parabola, and m/2 of a taper t/2.
void FormEstimate::GoOn(double low, double high, bool fix_axis, bool fix_radius) {
  constexpr double kMost = 3.0;  // half heights
  const double from = std::clamp((low - middle) / half_height, -kMost, -1.0);
  const double to = std::clamp((high - middle) / half_height, 1.0, kMost);
  const double m = 0.5 * (from + to), w = 0.5 * (to - from);
  if (!fix_axis) axis = std::hypot(axis, 2.0 * m / half_height * std::sqrt(bend_square));
  center = std::hypot(center, (1.0 + 3.0 * m * m - w * w) / 3.0 * std::sqrt(bend_square));
  if (fix_radius) return;
  radius = std::hypot(radius, (1.0 - 3.0 * m * m - w * w) / 3.0 * std::sqrt(barrel_square),
                      0.5 * m * std::sqrt(taper_square));
}

std::optional<FormEstimate> EstimateForm(const Points& points, const Model& model, bool fix_axis,
                                         bool fix_radius, double shared) {
  constexpr double kPatches = 16.0;
  if (points.size() < kFewestPoints) return std::nullopt;
  const Unrolled wall = Unroll(points, model);
  if (!(wall.half_height > 1e-6)) return std::nullopt;
  std::optional<Seen> seen =
      TakeOutCylinder(Products(wall), wall.residual.size(), fix_axis, fix_radius);
  if (!seen) return std::nullopt;
  const double patch = std::max(1.0, static_cast<double>(seen->points) / kPatches);
  seen->noise += shared * shared * patch;
  seen->all += shared * shared * patch;
  const FormVector variances = Variances(*seen);
  FormEstimate estimate;
  estimate.form = LikeliestForm(*seen, variances);
  const auto taken = [&](int column) {
    return seen->taken.row(column).cwiseAbs2().dot(variances.transpose());
  };
  estimate.radius = Root(taken(kWidth));
  estimate.center = Root(taken(kShiftX) + taken(kShiftY));
  estimate.axis = Root(taken(kTurnX) + taken(kTurnY)) / wall.half_height;
  estimate.middle = wall.middle;
  estimate.half_height = wall.half_height;
  estimate.taper_square = variances[kTaper];
  estimate.barrel_square = variances[kBarrel];
  estimate.bend_square = variances[kBendX] + variances[kBendX + 1];
  const double of_form = seen->matrix.diagonal().dot(variances) / static_cast<double>(seen->points);
  estimate.noise_share =
      std::clamp((seen->all - of_form) / seen->all, std::min(1.0, seen->noise / seen->all), 1.0);
  const bool finite = std::isfinite(estimate.radius) && std::isfinite(estimate.center) &&
                      std::isfinite(estimate.axis) && variances.allFinite();
  return finite ? std::optional(estimate) : std::nullopt;
}

}  // namespace libmfx::geometry::cylinder
