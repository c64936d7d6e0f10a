// The other translation unit: the same headers once more.
#include <tabfit/status.h>
#include <tabfit/tabfit.hpp>

tabfit::column_table<double> inverse_of_another_unit(const tabfit::column_table<double>& A);

tabfit::column_table<double> inverse_of_another_unit(const tabfit::column_table<double>& A) {
  return tabfit_status_text("M_mm", 0) ? tabfit::inverse(A) : A;
}
