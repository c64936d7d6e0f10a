// matrix1/storage.cpp - column tables and triangle tables: made, filled, laid over a block, released.
#include "tabfit/matrix.h"

#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tile.hpp"
#include "kernels/scalar/vector.hpp"

#include "matrix1/storage.hpp"

#include <new>

namespace tabfit {
namespace {

/// A new table of `slots` pointers: to `columns` zeroed columns, column j of length(j) elements, then
/// null. If memory runs out, returns null and releases everything, newest first.
template <class Real, class Length>
Real** new_table(int slots, int columns, Length length) noexcept {
  NewArray<Real*> table = new_array<Real*>(slots);
  if (!table) return nullptr;
  for (int j = columns; j < slots; ++j) table[j] = nullptr;
  for (int j = 0; j < columns; ++j) {
    table[j] = new (std::nothrow) Real[elements(length(j))]();
    if (!table[j]) {
      while (j > 0) delete[] table[--j];
      return nullptr;
    }
  }
  return table.release();
}

template <class Real>
Real** M_alloc(int m, int n, int nmax) noexcept {
  if (m < 2 || n < 2 || nmax < n) return nullptr;
  return new_table<Real>(nmax, n, [m](int) { return m; });
}

template <class Real>
void M_dealloc(Real** A, int count) noexcept {
  for (int i = 0; i < count; ++i) delete[] A[i];
  delete[] A;
}

template <class Real>
Real** M_allocs(int n) noexcept {
  if (n < 2) return nullptr;
  return new_table<Real>(n, n, [](int j) { return j + 1; });
}

template <class Real>
int M_fillc(Real* const* A, const Real* data, int m, int n) noexcept {
  if (m < 2 || n < 2) return M_FILL_BAD_SIZE;  // Deliberate: 1, which a test for < 0 misses.
  for (int j = 0; j < n; ++j) V_copy(data + std::ptrdiff_t(m) * j, A[j], m);
  return M_FILL_OK;
}

template <class Real>
int M_fillr(Real* const* A, const Real* data, int m, int n) noexcept {
  if (m < 2 || n < 2) return M_FILL_BAD_SIZE;
  move_transposed(
      m, n, [=](std::ptrdiff_t i) { return data + n * i; }, [=](std::ptrdiff_t j) { return A[j]; });
  return M_FILL_OK;
}

}  // namespace

template <class Real>
void M_storec(Real* data, int m, int n, Real** table) noexcept {
  for (std::ptrdiff_t j = 0; j < n; ++j) table[j] = data + m * j;
}

template void M_storec(float*, int, int, float**) noexcept;
template void M_storec(double*, int, int, double**) noexcept;

namespace {

template <class Real>
int M_fillsc(Real* const* T, const Real* data, int n) noexcept {
  if (n < 2) return M_FILL_BAD_SIZE;
  for (int j = 0; j < n; ++j) {
    V_copy(data, T[j], j + 1);
    data += j + 1;
  }
  return M_FILL_OK;
}

template <class Real>
int M_fillsr(Real* const* T, const Real* data, int n) noexcept {
  if (n < 2) return M_FILL_BAD_SIZE;
  for (int j = 0; j < n; ++j) {
    const Real* element = data + j;  // (0, j); element (i+1, j) stands n-1-i places behind (i, j)
    for (int i = 0; i <= j; ++i) {
      T[j][i] = *element;
      element += n - 1 - i;
    }
  }
  return M_FILL_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

float** M_allocf(int m, int n, int nmax) noexcept { return tabfit::M_alloc<float>(m, n, nmax); }
double** M_allocd(int m, int n, int nmax) noexcept { return tabfit::M_alloc<double>(m, n, nmax); }

void M_deallocf(float** A, int, int count) noexcept { tabfit::M_dealloc(A, count); }
void M_deallocd(double** A, int, int count) noexcept { tabfit::M_dealloc(A, count); }

float** M_allocsf(int n) noexcept { return tabfit::M_allocs<float>(n); }
double** M_allocsd(int n) noexcept { return tabfit::M_allocs<double>(n); }

int M_fillcf(float* const* A, const float* data, int m, int n) noexcept {
  return tabfit::M_fillc(A, data, m, n);
}
int M_fillcd(double* const* A, const double* data, int m, int n) noexcept {
  return tabfit::M_fillc(A, data, m, n);
}

int M_fillrf(float* const* A, const float* data, int m, int n) noexcept {
  return tabfit::M_fillr(A, data, m, n);
}
int M_fillrd(double* const* A, const double* data, int m, int n) noexcept {
  return tabfit::M_fillr(A, data, m, n);
}

void M_storecf(float* data, int m, int n, float** table) noexcept {
  tabfit::M_storec(data, m, n, table);
}
void M_storecd(double* data, int m, int n, double** table) noexcept {
  tabfit::M_storec(data, m, n, table);
}

int M_fillscf(float* const* T, const float* data, int n) noexcept {
  return tabfit::M_fillsc(T, data, n);
}
int M_fillscd(double* const* T, const double* data, int n) noexcept {
  return tabfit::M_fillsc(T, data, n);
}

int M_fillsrf(float* const* T, const float* data, int n) noexcept {
  return tabfit::M_fillsr(T, data, n);
}
int M_fillsrd(double* const* T, const double* data, int n) noexcept {
  return tabfit::M_fillsr(T, data, n);
}

}  // extern "C"
