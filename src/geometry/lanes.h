#pragma once

#include <cmath>
#include <cstring>

/// \file
/// Two doubles that are added, multiplied and compared at once. The passes over many columns are
/// written with them, since a compiler left to itself makes one step of each element of a point.

namespace libmfx::geometry {

using Pair = double __attribute__((vector_size(16)));
/// What a comparison of two pairs gives: -1 where it holds, 0 where it does not.
using PairMask = long long __attribute__((vector_size(16)));

/// Two neighbours in memory.
inline Pair Load(const double* from) {
  Pair p;
  std::memcpy(&p, from, sizeof p);
  return p;
}
inline void Store(const Pair& p, double* to) { std::memcpy(to, &p, sizeof p); }

/// Without sign.
inline Pair Magnitude(const Pair& p) {
  const PairMask bits = reinterpret_cast<PairMask>(p) & 0x7FFFFFFFFFFFFFFF;
  return reinterpret_cast<Pair>(bits);
}

/// Whether both are 0, of either sign. One comparison of bits, as the lanes of a mask cost more.
inline bool BothZero(const Pair& p) {
  const PairMask bits = reinterpret_cast<PairMask>(p);
  return static_cast<unsigned long long>(bits[0] | bits[1]) << 1 == 0;
}

/// The square root of each.
inline Pair Root(const Pair& p) { return Pair{std::sqrt(p[0]), std::sqrt(p[1])}; }
/// Of each lane the first where the comparison holds, else the second.
inline Pair Choose(const PairMask& mask, const Pair& yes, const Pair& no) {
  const PairMask bits =
      (mask & reinterpret_cast<PairMask>(yes)) | (~mask & reinterpret_cast<PairMask>(no));
  return reinterpret_cast<Pair>(bits);
}

inline double Sum(const Pair& p) { return p[0] + p[1]; }
inline Pair Both(double v) { return Pair{v, v}; }

}  // namespace libmfx::geometry
