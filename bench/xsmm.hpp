// bench/xsmm.hpp - libxsmm: products of small matrices by kernels that it generates for one order each.
#pragma once

#include <string>

namespace tabfit::bench {

/// Name and version.
std::string xsmm_description();

/// The processor that it generates kernels for, by its own name.
std::string xsmm_target();

/// A kernel that computes C = A B for blocks of order n.
template <class Real>
using SmallProduct = void (*)(const Real* A, const Real* B, Real* C, ...);

/// The kernel for an order. Ends the program if libxsmm generates none.
template <class Real>
SmallProduct<Real> small_product(int n);

}  // namespace tabfit::bench
