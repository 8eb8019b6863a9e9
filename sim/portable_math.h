#pragma once

#include <cmath>
#include <cstdint>

/// \file
/// Sine, cosine, arc tangent and logarithm from additions, products, divisions and square roots
/// alone. The mathematical library of each system rounds its own way, and may choose another way
/// on another processor; these give the same bits everywhere, which makes a seeded scan the same
/// scan on every machine. They are exact to about 2e-16 of the result's scale.

namespace libmfx::sim::portable {

struct SineCosine {
  double sine;
  double cosine;
};

/// Sine and cosine of `x` radians, |x| below 1e5.
inline SineCosine SinCos(double x) {
  // pi/2 in three pieces; the first two have 33 bits, so their products with k are exact.
  constexpr double kHalfPi1 = 0x1.921fb544p+0;
  constexpr double kHalfPi2 = 0x1.0b4611a6p-34;
  constexpr double kHalfPi3 = 0x1.3198a2e037073p-69;
  const double k = std::floor(x * 0.63661977236758134308 + 0.5);
  const double r = ((x - k * kHalfPi1) - k * kHalfPi2) - k * kHalfPi3;
  const double r2 = r * r;
  // Taylor's series to r^17 and r^18: the next term is below 1e-19 for |r| <= pi/4.
  double s = 1.0;
  double c = 1.0;
  for (int n = 8; n >= 1; --n) s = 1.0 - s * r2 / (2.0 * n * (2.0 * n + 1.0));
  for (int n = 9; n >= 1; --n) c = 1.0 - c * r2 / (2.0 * n * (2.0 * n - 1.0));
  s *= r;
  const int quadrant = static_cast<int>(k - 4.0 * std::floor(k / 4.0));
  switch (quadrant) {
    case 0:
      return {s, c};
    case 1:
      return {c, -s};
    case 2:
      return {-s, -c};
    default:
      return {-c, s};
  }
}

/// The greatest whole number that is not above `x`, |x| below 9e18. The library's `floor` is a call
/// on processors of which nothing newer may be expected.
inline std::int64_t Floor(double x) {
  const auto towards_zero = static_cast<std::int64_t>(x);
  return towards_zero - (static_cast<double>(towards_zero) > x ? 1 : 0);
}

/// Sine and cosine of so many turns, below 1e14. Exact to 5e-16, and three times as fast as
/// `SinCos`: there is nothing to divide.
inline SineCosine SinCosOfTurns(double turns) {
  const std::int64_t k = Floor(4.0 * turns + 0.5);
  const double r = (turns - 0.25 * static_cast<double>(k)) * 6.28318530717958647693;
  const double q = r * r;
  const double q2 = q * q;
  const double q4 = q2 * q2;
  // Taylor's series to r^17 and r^16: the next term is below 1e-17 for |r| <= pi/4. The terms are
  // summed in pairs, which need not wait for each other.
  const double s0 = -1.0 / 6.0 + q * (1.0 / 120.0);
  const double s1 = -1.0 / 5040.0 + q * (1.0 / 362880.0);
  const double s2 = -1.0 / 39916800.0 + q * (1.0 / 6227020800.0);
  const double s3 = -1.0 / 1307674368000.0 + q * (1.0 / 355687428096000.0);
  const double s = r + r * q * ((s0 + q2 * s1) + q4 * (s2 + q2 * s3));
  const double c0 = 1.0 / 24.0 - q * (1.0 / 720.0);
  const double c1 = 1.0 / 40320.0 - q * (1.0 / 3628800.0);
  const double c2 = 1.0 / 479001600.0 - q * (1.0 / 87178291200.0);
  const double c3 = 1.0 / 20922789888000.0;
  const double c = 1.0 - 0.5 * q + q2 * ((c0 + q2 * c1) + q4 * (c2 + q2 * c3));
  switch (k & 3) {
    case 1:
      return {c, -s};
    case 2:
      return {-s, -c};
    case 3:
      return {-c, s};
    default:
      return {s, c};
  }
}

/// Arc tangent of `q` in [0, 1].
inline double ArcTangentOfUnit(double q) {
  // atan(k/8); between two of them the remainder's argument is at most 1/16.
  constexpr double kAtan[9] = {0.0,
                               0.12435499454676143503,
                               0.24497866312686415417,
                               0.35877067027057221982,
                               0.46364760900080611621,
                               0.55859931534356243597,
                               0.64350110879328438680,
                               0.71882999962162450542,
                               0.78539816339744830962};
  const int k = static_cast<int>(std::floor(q * 8.0 + 0.5));
  const double c = k / 8.0;
  const double t = (q - c) / (1.0 + q * c);
  const double t2 = t * t;
  double sum = 1.0 / 15.0;
  for (int n = 6; n >= 0; --n) sum = 1.0 / (2.0 * n + 1.0) - t2 * sum;
  return kAtan[k] + t * sum;
}

/// The angle of the point (x, y) in (-pi, pi]; 0 at the origin.
inline double Atan2(double y, double x) {
  constexpr double kHalfPi = 1.57079632679489661923;
  const double ax = std::fabs(x);
  const double ay = std::fabs(y);
  if (ax == 0.0 && ay == 0.0) return 0.0;
  double angle = ax >= ay ? ArcTangentOfUnit(ay / ax) : kHalfPi - ArcTangentOfUnit(ax / ay);
  if (x < 0.0) angle = 2.0 * kHalfPi - angle;
  return y < 0.0 ? -angle : angle;
}

/// Natural logarithm of a positive finite `x`.
inline double Log(double x) {
  constexpr double kLn2High = 0x1.62e42fefa38p-1;
  constexpr double kLn2Low = 0x1.ef35793c7673p-45;
  int exponent = 0;
  double m = std::frexp(x, &exponent);
  if (m < 0.70710678118654752440) {
    m *= 2.0;
    --exponent;
  }
  const double s = (m - 1.0) / (m + 1.0);
  const double s2 = s * s;
  double sum = 1.0 / 23.0;
  for (int n = 10; n >= 0; --n) sum = 1.0 / (2.0 * n + 1.0) + s2 * sum;
  return exponent * kLn2High + (exponent * kLn2Low + 2.0 * s * sum);
}

/// Logarithm to the base of 10 of a positive finite `x`.
inline double Log10(double x) { return Log(x) * 0.43429448190325182765; }

}  // namespace libmfx::sim::portable
