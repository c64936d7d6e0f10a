// kernels/scalar/arithmetic.hpp - how this library rounds.
//
//  1. Sums of products: one double accumulator, terms ascending unless the operation says otherwise,
//     each multiply-add rounded once to double (mul_add).
//  2. A single + - * / or square root whose result is kept as double: plain double arithmetic.
//  3. Longer formulas: evaluated in Wide and rounded once (store), exactly where they are kept.
//  4. An element is rounded to Real when it is stored; any other rounding has its own comment.
//
// Build with -ffp-contract=off and without -ffast-math: every fused operation is written here.
#pragma once

#include <cmath>
#include <type_traits>

namespace tabfit {

using Wide = long double;

template <class Real>
inline constexpr bool is_double = std::is_same_v<Real, double>;

/// sum + a b, rounded once.
template <class A, class B>
double mul_add(A a, B b, double sum) noexcept {
  if constexpr (std::is_same_v<A, float> && std::is_same_v<B, float>)
    return double(a) * double(b) + sum;  // the product of two floats is exact in double
  else
    return std::fma(double(a), double(b), sum);
}

/// v, rounded as an array of Real keeps it.
template <class Real, class Value>
Real store(Value v) noexcept {
  return static_cast<Real>(v);
}

}  // namespace tabfit
