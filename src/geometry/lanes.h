#pragma once

/// \file
/// Two doubles that are added, multiplied and compared at once. The passes over many columns are
/// written with them, since a compiler left to itself makes one step of each element of a point.

namespace libmfx::geometry {

using Pair = double __attribute__((vector_size(16)));
/// What a comparison of two pairs gives: -1 where it holds, 0 where it does not.
using PairMask = long long __attribute__((vector_size(16)));

inline double Sum(const Pair& p) { return p[0] + p[1]; }
inline Pair Both(double v) { return Pair{v, v}; }

}  // namespace libmfx::geometry
