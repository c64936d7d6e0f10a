/* tabfit/status.h - the meaning of a status, as a sentence.
 *
 *   int status = M_chold(S, n, U);
 *   if (status != M_CHOL_OK) fprintf(stderr, "M_chold: %s\n", tabfit_status_text("M_chold", status));
 */
#ifndef TABFIT_STATUS_H
#define TABFIT_STATUS_H

#include <limits.h>
#include <string.h>

#include "tabfit/tabfit.h"

/* A row of the table: operations, separated by blanks, a code, and what it says. An operation stands under
 * its stem, or under the name of a twin if the twins differ. The code tabfit_status_count_ is every
 * positive code, tabfit_status_any_ every code. The first row that fits is the answer. */
enum { tabfit_status_any_ = INT_MIN, tabfit_status_count_ = INT_MAX };
typedef struct {
  const char *operations;
  int code;
  const char *text;
} tabfit_status_row_;

/* True if the word of a row, length characters, is the operation, but for the letter of a twin on either
 * side. */
static inline int tabfit_status_is_(const char *word, size_t length, const char *operation) {
  const size_t n = strlen(operation), least = n < length ? n : length;
  const size_t most = n < length ? length : n;
  const char last = n < length ? word[length - 1] : n > 0 ? operation[n - 1] : 0;
  if (least == 0 || strncmp(word, operation, least) != 0) return 0;
  return most == least || (most == least + 1 && (last == 'f' || last == 'd'));
}

/* True if a row names the operation. */
static inline int tabfit_status_names_(const char *operations, const char *operation) {
  while (*operations) {
    const size_t length = strcspn(operations, " ");
    if (tabfit_status_is_(operations, length, operation)) return 1;
    operations += length;
    operations += strspn(operations, " ");
  }
  return 0;
}

/** What a status says, in a sentence without the operation's name.
 *
 *  @param[in] operation  name of a function, with the letter of its twin or without: "M_chold", "M_chol";
 *                        Ls_f and Ls_d are "Ls" together
 *  @param[in] code       a status that it returned
 *
 *  @return a text that lives as long as the program. It is never null: a name or a code that is not known
 *          has a sentence too. A positive code that is a count is explained as "k"; print the code beside
 *          the text. Without the letter, the text is of the twin that has the code.
 *
 *  Allocates nothing and keeps nothing.
 */
static inline const char *tabfit_status_text(const char *operation, int code) {
  static const tabfit_status_row_ rows[] = {
      {"M_fillc M_fillr M_fillsc M_fillsr", M_FILL_OK, "the table is filled"},
      {"M_fillc M_fillr M_fillsc M_fillsr", M_FILL_BAD_SIZE, "a size is below 2; nothing is written"},
      {"M_transp", M_TRANSP_OK, "transposed; a matrix of one element is not copied"},
      {"M_transp", M_TRANSP_BAD_SIZE, "both sizes are below 1; nothing is written"},
      {"M_transpa", M_TRANSPA_OK, "transposed in place"},
      {"M_transpa", M_TRANSPA_BAD_SIZE, "both sizes are below 1; nothing is changed"},
      {"M_tran", M_TRAN_OK, "transposed in place"},
      {"M_tran", M_TRAN_NO_MEMORY,
       "no memory for a row, or a column count below 0; nothing is changed"},
      {"M_tran", M_TRAN_BAD_SIZE, "both sizes are below 2; nothing is changed"},
      {"M_rowsort", M_ROWSORT_OK, "the rows are in order"},
      {"M_rowsort", M_ROWSORT_BAD_INDEX,
       "the index vector is no permutation; the rows are in order up to the first missing place"},
      {"M_colsort", M_COLSORT_OK, "the columns are in order"},
      {"M_colsort", M_COLSORT_BAD_INDEX, "the first index is no column; nothing is changed"},
      {"M_colsort", M_COLSORT_NO_MEMORY, "no memory for the tags of the columns; nothing is changed"},
      {"M_mmb M_mtmb M_mmtb M_smma M_smtma M_utuu M_uutu M_utma", M_INPLACE_OK,
       "the operand holds the product"},
      {"M_mmtb M_smtma", M_INPLACE_NO_MEMORY, "no memory for a column; the operand is left transposed"},
      {"M_mmtb M_smtma", M_INPLACE_BAD_SIZE,
       "both sizes of the operand are below 1; nothing is changed"},
      {"M_mmb M_mtmb M_smma M_utuu M_uutu M_utma", M_INPLACE_NO_MEMORY,
       "no memory for a column; the operand is unchanged"},
      {"M_uuu M_uma", 1,
       "the product is there, or there was no memory: this operation always returns 1"},
      {"M_tinv", M_TINV_OK, "the table holds the inverse"},
      {"M_tinv", M_TINV_BAD_SIZE, "the order is below 1; nothing is written"},
      {"M_tinv", tabfit_status_count_,
       "singular: element k-1 of the diagonal is the first zero; the elements before it are inverted"},
      {"M_qrd", M_QRD_OK, "decomposed; this does not prove that the columns are independent"},
      {"M_qrd", M_QRD_ZERO, "the matrix is zero"},
      {"M_qrd", M_QRD_BAD_SIZE, "a size is below 1; nothing is changed"},
      {"M_qrd", M_QRD_NO_MEMORY, "no memory for the column norms; nothing is changed"},
      {"M_qrd", tabfit_status_count_,
       "the pseudo-rank is k: to the tolerance, the columns behind the first k depend on these"},
      {"M_qrdeq", M_QRDEQ_OK, "solved; this does not prove that the matrix is regular"},
      {"M_qrdeq", M_QRDEQ_ZERO, "the matrix is zero"},
      {"M_qrdeq", M_QRDEQ_BAD_SIZE, "the order is below 1; nothing is changed"},
      {"M_qrdeq", M_QRDEQ_NO_MEMORY, "no memory for the decomposition; nothing is changed"},
      {"M_qrdeq", tabfit_status_count_,
       "singular to the tolerance: the pseudo-rank is k; nothing is solved"},
      {"M_invGJ", M_INVGJ_OK, "inverted; this does not prove that the matrix is regular"},
      {"M_invGJ", M_INVGJ_ZERO, "singular: the first step finds no pivot; the matrix is unchanged"},
      {"M_invGJ", M_INVGJ_BAD_SIZE, "the order is below 1; nothing is written"},
      {"M_invGJ", M_INVGJ_NO_MEMORY, "no memory for the places of the pivots; the matrix is unchanged"},
      {"M_invGJ", tabfit_status_count_,
       "singular: after k steps no pivot is left; the matrix is neither the input nor an inverse"},
      {"M_chol", M_CHOL_OK, "the factor is there"},
      {"M_choleq", M_CHOL_OK, "solved"},
      {"M_cholinv M_invs", M_CHOL_OK, "inverted"},
      {"M_chol M_choleq M_cholinv M_invs", M_CHOL_BAD_SIZE, "the order is below 2; nothing is written"},
      {"M_cholinv M_invs", M_CHOL_NO_MEMORY,
       "no memory for a column; in place of the inverse stands that of the factor"},
      {"M_chol M_choleq M_cholinv M_invs", tabfit_status_count_,
       "not positive definite: pivot k-1 is not positive; the factor has rows 0 to k-2"},
      {"M_mv M_mtv M_smv M_ltv M_mm M_mtm M_mmt M_mmts M_mtms M_smm M_msm M_smtm M_tmsm M_smsm M_uu "
       "M_utu "
       "M_uut M_um M_utm M_mu M_mut M_mtu M_storec M_cop M_copss M_copsr M_coptr M_lminus M_swap "
       "M_invt "
       "M_invutm M_invuu M_invu M_dealloc AX_freed2fcs",
       tabfit_status_any_, "this operation has no status: it cannot fail"},
      {"M_alloc M_allocs AX_d2fcs", tabfit_status_any_,
       "this operation has no status: it returns a pointer, null for a bad size or without memory"},

      {"Ls_ Ls_it", LS_OK, "solved"},
      {"Ls_ Ls_it", LS_ZERO, "the matrix is zero"},
      {"Ls_ Ls_it", LS_BAD_SIZE, "a size is below 1; nothing is changed"},
      {"Ls_ Ls_it", LS_NO_MEMORY, "no memory for the working table"},
      {"Ls_ Ls_it Ls_cint Ls_cgrn", tabfit_status_count_,
       "the pseudo-rank is k, less than both sizes: columns depend on each other; nothing is solved"},
      {"Ls_cnn", LS_CNN_OK, "solved"},
      {"Ls_cnn", LS_CNN_ZERO,
       "solved, all unknowns are zero; or, if they are not, only 1 free column is independent"},
      {"Ls_cge Ls_cle", LS_CGE_OK, "solved"},
      {"Ls_cge Ls_cle", LS_CGE_AT_BOUND,
       "the bounds are the solution, and x holds 0; or, if it does not, only 1 free column is "
       "independent"},
      {"Ls_cnn Ls_cge Ls_cle", LS_CNN_BAD_SIZE, "a size is below 1; nothing is written"},
      {"Ls_cnn Ls_cge Ls_cle", LS_CNN_NO_MEMORY, "no memory for a subproblem"},
      {"Ls_cnn Ls_cge Ls_cle Ls_ldp", LS_CNN_NO_PROGRESS,
       "no progress: the variable that entered last is not positive; the problem is degenerate"},
      {"Ls_cnn Ls_cge Ls_cle", LS_ZERO, "the free columns are zero"},
      {"Ls_cnn Ls_cge Ls_cle", tabfit_status_count_,
       "of the free columns only k are independent; x and the pointers stay in the working order"},
      {"Ls_ldp", LS_LDP_OK, "solved"},
      {"Ls_ldp", LS_LDP_INCOMPATIBLE,
       "the constraints contradict each other, or what they allow is too far from 0: scale the "
       "problem"},
      {"Ls_ldp", LS_LDP_BAD_SIZE, "a size is below 1; nothing is changed"},
      {"Ls_ldp", LS_LDP_NO_MEMORY, "no memory for the inner problem"},
      {"Ls_ldp", LS_ZERO, "the free columns of the inner problem are zero"},
      {"Ls_cint Ls_cgrn", LS_CGRN_OK, "solved"},
      {"Ls_cint Ls_cgrn", LS_CGRN_ZERO,
       "the matrix is zero, or the free columns of the inner problem are"},
      {"Ls_cint Ls_cgrn", LS_CGRN_BAD_SIZE,
       "fewer rows than unknowns, no unknown or no constraint; nothing is changed"},
      {"Ls_cint Ls_cgrn", LS_CGRN_NO_MEMORY, "no memory for the inner problem"},
      {"Ls_cint Ls_cgrn", LS_CGRN_NO_PROGRESS,
       "no progress: the unconstrained solution lies on a constraint, to working precision"},
      {"Ls_cint Ls_cgrn", LS_CGRN_INCOMPATIBLE,
       "the constraints contradict each other, or the solution is too far from the unconstrained one"},

      {"AX_lintval", AX_LINTVAL_OK, "the value is written"},
      {"AX_lintval", AX_LINTVAL_BAD_SIZE, "fewer than 2 nodes; nothing is written"},
      {"AX_lintval", AX_LINTVAL_NO_INTERVAL,
       "the point is outside the table or NaN, or its interval is too narrow; nothing is written"},
      {"AX_linttab", AX_LINTTAB_OK, "all values are written"},
      {"AX_linttab", AX_LINTTAB_BAD_SIZE, "fewer than 2 nodes or no point; nothing is written"},
      {"AX_linttab", AX_LINTTAB_NO_INTERVAL,
       "a point is outside the table or NaN, or its interval is too narrow; those before it are "
       "written"},
      {"AX_intspl3", AX_INTSPL3_OK, "the spline is there"},
      {"AX_intspl3 AX_intspl3tab", AX_INTSPL3_BAD_NODES,
       "the nodes do not ascend by more than the tolerance, or one is NaN"},
      {"AX_intspl3", AX_INTSPL3_BAD_SIZE, "fewer than 2 nodes; nothing is written"},
      {"AX_intspl3val", AX_INTSPL3VAL_OK, "value and derivatives are written"},
      {"AX_intspl3val", AX_INTSPL3VAL_OUT_OF_RANGE, "the point is outside the table or NaN"},
      {"AX_intspl3tab", AX_INTSPL3TAB_OK, "the spline and all wanted values are there"},
      {"AX_intspl3tab", AX_INTSPL3TAB_BAD_SIZE, "fewer than 2 nodes or no point; nothing is written"},
      {"AX_intspl3tab", AX_INTSPL3TAB_OUT_OF_RANGE,
       "a point is outside the table or NaN; those before it are written, and the spline is there"},
      {"AX_apxcoef", AX_APXCOEF_OK, "fitted"},
      {"AX_splsmoo AX_splvals", AX_SPLSMOO_OK, "fitted and evaluated"},
      {"AX_apxcoef", AX_APXCOEF_BAD_SIZE, "no interior knot, or fewer points than coefficients"},
      {"AX_splsmoo AX_splvals", AX_SPLSMOO_BAD_SIZE,
       "no interior knot, fewer points than coefficients, or nowhere to evaluate; nothing is written"},
      {"AX_apxcoef AX_splsmoo AX_splvals", AX_APXCOEF_BAD_ABSCISSAE,
       "the abscissae do not ascend by more than the tolerance, or one is NaN"},
      {"AX_apxcoef AX_splsmoo AX_splvals", AX_APXCOEF_NO_BLOCK, "no memory for the design matrix"},
      {"AX_apxcoef AX_splsmoo AX_splvals", AX_APXCOEF_NO_POINTERS,
       "no memory for the pointers of the design matrix"},
      {"AX_apxcoef AX_splsmoo AX_splvals", LS_NO_MEMORY, "no memory for the solver"},
      {"AX_splsmoo AX_splvals", AX_SPLSMOO_NO_MEMORY, "no memory for the basis or the coefficients"},
      {"AX_apxcoef AX_splsmoo AX_splvals", tabfit_status_count_,
       "the pseudo-rank of the design is k: an interval of knots has no data; take fewer knots"},
      {"AX_apxval", AX_APXVAL_OK, "the wanted values are written"},
      {"AX_apxval", AX_APXVAL_OUT_OF_RANGE, "the point is outside the range of the fit or NaN"},
      {"AX_apxvals", AX_APXVALS_OK, "all wanted values are written"},
      {"AX_apxvals", AX_APXVALS_BAD_SIZE, "no point; nothing is written"},
      {"AX_apxvalsf", AX_APXVALS_OUT_OF_RANGE,
       "a point is outside the range of the fit or NaN; those before it are written"},
      {"AX_splconv", AX_SPLCONV_OK, "fitted and evaluated"},
      {"AX_splconv", AX_SPLCONV_NO_KNOTS, "no interior knot"},
      {"AX_splconv", AX_SPLCONV_BAD_ARGUMENT,
       "fewer points than coefficients, nowhere to evaluate, or a least curvature below 0 or NaN"},
      {"AX_splconvf", AX_SPLCONVF_NO_MEMORY,
       "no memory for scratch, or the pseudo-rank of the design is 1"},
      {"AX_splconvd", AX_SPLCONVD_FAILED,
       "no memory, dependent columns, or no fit that is near enough"},
      {"AX_splconvf", LS_CGRN_ZERO, "the first and last abscissa are equal, or one is NaN"},
      {"AX_splconvf", LS_CGRN_NO_MEMORY, "no memory for the solver"},
      {"AX_splconvf", LS_CGRN_NO_PROGRESS,
       "no progress: the problem is degenerate to working precision"},
      {"AX_splconvf", LS_CGRN_INCOMPATIBLE,
       "the fit is too far from the data: divide the ordinates by the size of the residual"},
      {"AX_splconvf", tabfit_status_count_,
       "the pseudo-rank of the design is k: an interval of knots has no data; take fewer knots"},
      {"AX_polapxcoef", AX_POLAPXCOEF_OK, "fitted"},
      {"AX_polapxcoef", AX_POLAPXCOEF_FAILED,
       "a degree below 2, fewer points than coefficients, or no memory for scratch"},
      {"AX_polyapx", AX_POLAPXCOEF_FAILED, "no memory for the design"},
      {"AX_polapxcoef AX_polyapx", AX_POLAPXCOEF_BAD_ABSCISSAE,
       "the abscissae do not ascend by more than the tolerance, or one is NaN; they stay mapped"},
      {"AX_polapxcoef", LS_NO_MEMORY, "no memory for the solver; the abscissae stay mapped"},
      {"AX_polapxcoef AX_polyapx", tabfit_status_count_,
       "the pseudo-rank of the design is k: take a lower degree; the abscissae stay mapped"},
      {"AX_polapxval", AX_POLAPXVAL_OK, "the wanted values are written"},
      {"AX_polapxval AX_polyapx", AX_POLAPXVAL_OUT_OF_RANGE,
       "a point is outside the range of the fit; those before it are written, the points stay mapped"},
      {"AX_polapxval AX_polyapx", AX_POLAPXVAL_NO_OUTPUT,
       "no output is wanted; the points stay mapped"},
      {"AX_polapxval", AX_POLAPXVAL_NO_MEMORY, "no memory for scratch; no value is written"},
      {"AX_polyapx", AX_POLYAPX_OK, "fitted and evaluated"},
      {"AX_polyapx", AX_POLYAPX_BAD_SIZE,
       "a degree below 2, fewer points than coefficients, or no point; nothing is changed"},
      {"AX_polyapx", AX_POLYAPX_NO_MEMORY, "no memory, for coefficients, solver or evaluation"},
  };
  const char *answer = "no operation of this library has this name";
  size_t i;

  if (!operation) return answer;
  if (strcmp(operation, "Ls") == 0) operation = "Ls_f";
  for (i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const int wanted = rows[i].code;
    if (!tabfit_status_names_(rows[i].operations, operation)) continue;
    if (wanted == code || wanted == tabfit_status_any_ || (wanted == tabfit_status_count_ && code > 0))
      return rows[i].text;
    answer = "this operation does not return this status";
  }
  return answer;
}

#endif /* TABFIT_STATUS_H */
