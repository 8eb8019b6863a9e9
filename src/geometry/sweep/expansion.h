#pragma once

#include <cmath>

/// \file
/// Exact arithmetic on short sums of doubles. An expansion is a sum of non-overlapping doubles, the
/// smallest first, that stands for a real number without any rounding. The building blocks are the
/// error-free transformations of Knuth (sum) and Dekker (product); the growth of an expansion by
/// one double and the sign from its largest component are those of Shewchuk, "Adaptive Precision
/// Floating-Point Arithmetic and Fast Robust Geometric Predicates", 1997.
///
/// Exactness needs rounding to nearest, no contraction of a*b+c, and products that neither overflow
/// nor underflow: the sweep brings its coordinates to at most 1 in magnitude and to multiples of
/// 2^-200, which leaves room for the five factors that a predicate multiplies at most.

namespace libmfx::geometry::sweep {

/// a + b = hi + lo without error.
inline void TwoSum(double a, double b, double& hi, double& lo) {
  hi = a + b;
  const double bb = hi - a;
  lo = (a - (hi - bb)) + (b - bb);
}

/// a - b = hi + lo without error.
inline void TwoDiff(double a, double b, double& hi, double& lo) { TwoSum(a, -b, hi, lo); }

/// Splits into two halves of at most 26 bits each.
inline void Split(double a, double& hi, double& lo) {
  const double c = 134217729.0 * a;  // 2^27 + 1
  hi = c - (c - a);
  lo = a - hi;
}

/// a * b = hi + lo without error.
inline void TwoProduct(double a, double b, double& hi, double& lo) {
  hi = a * b;
  double ah, al, bh, bl;
  Split(a, ah, al);
  Split(b, bh, bl);
  lo = al * bl - (((hi - ah * bh) - al * bh) - ah * bl);
}

/// A sum of at most N doubles, smallest first, zeros left out.
template <int N>
struct Expansion {
  int n = 0;
  double c[N];  // c[0..n)

  Expansion() {}  // the array stays uninitialised on purpose: N may be large

  /// -1, 0 or 1: exact.
  int Sign() const { return n == 0 ? 0 : (c[n - 1] > 0.0 ? 1 : -1); }

  /// The value rounded to a sum of two doubles, with a relative error below 2^-100.
  void ToPair(double& hi, double& lo) const {
    hi = lo = 0.0;
    for (int i = 0; i < n; ++i) {
      double s, e;
      TwoSum(c[i], hi, s, e);
      lo += e;
      hi = s;
    }
    double s, e;
    TwoSum(hi, lo, s, e);
    hi = s;
    lo = e;
  }
};

/// The exact difference of two doubles.
inline Expansion<2> Difference(double a, double b) {
  Expansion<2> r;
  double hi, lo;
  TwoDiff(a, b, hi, lo);
  if (lo != 0.0) r.c[r.n++] = lo;
  if (hi != 0.0) r.c[r.n++] = hi;
  return r;
}

/// The sum: both are merged by magnitude and swept once from below.
template <int N, int M>
Expansion<N + M> operator+(const Expansion<N>& a, const Expansion<M>& b) {
  Expansion<N + M> r;
  double q = 0.0;
  for (int i = 0, j = 0; i < a.n || j < b.n;) {
    const bool from_a = j == b.n || (i < a.n && std::abs(a.c[i]) < std::abs(b.c[j]));
    double hi, lo;
    TwoSum(q, from_a ? a.c[i++] : b.c[j++], hi, lo);
    if (lo != 0.0) r.c[r.n++] = lo;
    q = hi;
  }
  if (q != 0.0) r.c[r.n++] = q;
  return r;
}

template <int N>
Expansion<N> operator-(const Expansion<N>& a) {
  Expansion<N> r;
  r.n = a.n;
  for (int i = 0; i < a.n; ++i) r.c[i] = -a.c[i];
  return r;
}

template <int N, int M>
Expansion<N + M> operator-(const Expansion<N>& a, const Expansion<M>& b) {
  return a + (-b);
}

/// The product with one double.
template <int N>
Expansion<2 * N> Scaled(const Expansion<N>& a, double b) {
  Expansion<2 * N> r;
  double q = 0.0;
  for (int i = 0; i < a.n; ++i) {
    double p, p_low, sum, low;
    TwoProduct(a.c[i], b, p, p_low);
    TwoSum(q, p_low, sum, low);
    if (low != 0.0) r.c[r.n++] = low;
    TwoSum(p, sum, q, low);
    if (low != 0.0) r.c[r.n++] = low;
  }
  if (q != 0.0) r.c[r.n++] = q;
  return r;
}

template <int N, int M>
Expansion<2 * N * M> operator*(const Expansion<N>& a, const Expansion<M>& b) {
  if constexpr (M == 1) {
    return b.n == 0 ? Expansion<2 * N>() : Scaled(a, b.c[0]);
  } else {
    Expansion<2 * N * M> r;
    for (int j = 0; j < b.n; ++j) {
      const auto sum = r + Scaled(a, b.c[j]);
      r.n = sum.n;
      for (int i = 0; i < sum.n; ++i) r.c[i] = sum.c[i];
    }
    return r;
  }
}

}  // namespace libmfx::geometry::sweep
