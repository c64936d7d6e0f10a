// tests/support/twins.hpp - the exported functions as overloads, for tests of both twins.
#pragma once

#include "tabfit/tabfit.h"

#include "tests/support/twin_test.hpp"

// The overload picks the twin.

inline int AX_lintval(int n, const float* x, const float* y, double t, double* result) {
  return AX_lintvalf(n, x, y, t, result);
}
inline int AX_lintval(int n, const double* x, const double* y, double t, double* result) {
  return AX_lintvald(n, x, y, t, result);
}

inline int AX_linttab(int n, const float* x, const float* y, int m, const float* t, float* out) {
  return AX_linttabf(n, x, y, m, t, out);
}
inline int AX_linttab(int n, const double* x, const double* y, int m, const double* t, double* out) {
  return AX_linttabd(n, x, y, m, t, out);
}

inline int AX_intspl3(const float* x, float* C, int n) { return AX_intspl3f(x, C, n); }
inline int AX_intspl3(const double* x, double* C, int n) { return AX_intspl3d(x, C, n); }

inline int AX_intspl3val(const float* x, const float* C, int n, double u, double* s, double* s1,
                         double* s2) {
  return AX_intspl3valf(x, C, n, u, s, s1, s2);
}
inline int AX_intspl3val(const double* x, const double* C, int n, double u, double* s, double* s1,
                         double* s2) {
  return AX_intspl3vald(x, C, n, u, s, s1, s2);
}

inline int AX_intspl3tab(const float* x, float* C, int n, int m, const float* u, float* s, float* s1,
                         float* s2) {
  return AX_intspl3tabf(x, C, n, m, u, s, s1, s2);
}
inline int AX_intspl3tab(const double* x, double* C, int n, int m, const double* u, double* s,
                         double* s1, double* s2) {
  return AX_intspl3tabd(x, C, n, m, u, s, s1, s2);
}

template <class Real>
Real** AX_d2fcs(int n) {
  if constexpr (sizeof(Real) == 4)
    return AX_d2fcsf(n);
  else
    return AX_d2fcsd(n);
}

inline void AX_freed2fcs(float** T) { AX_freed2fcsf(T); }
inline void AX_freed2fcs(double** T) { AX_freed2fcsd(T); }

inline int AX_apxcoef(float* const* T, int n, int m, const float* x, const float* y, float* a) {
  return AX_apxcoeff(T, n, m, x, y, a);
}
inline int AX_apxcoef(double* const* T, int n, int m, const double* x, const double* y, double* a) {
  return AX_apxcoefd(T, n, m, x, y, a);
}

inline int AX_apxval(float* const* T, int n, const float* a, double v, double* s, double* s1,
                     double* s2) {
  return AX_apxvalf(T, n, a, v, s, s1, s2);
}
inline int AX_apxval(double* const* T, int n, const double* a, double v, double* s, double* s1,
                     double* s2) {
  return AX_apxvald(T, n, a, v, s, s1, s2);
}

inline int AX_apxvals(float* const* T, int n, const float* a, int m, const float* v, float* s,
                      float* s1, float* s2) {
  return AX_apxvalsf(T, n, a, m, v, s, s1, s2);
}
inline int AX_apxvals(double* const* T, int n, const double* a, int m, const double* v, double* s,
                      double* s1, double* s2) {
  return AX_apxvalsd(T, n, a, m, v, s, s1, s2);
}

inline int AX_splsmoo(int n, int m, const float* x, const float* y, float* s, float* s1, float* s2) {
  return AX_splsmoof(n, m, x, y, s, s1, s2);
}
inline int AX_splsmoo(int n, int m, const double* x, const double* y, double* s, double* s1,
                      double* s2) {
  return AX_splsmood(n, m, x, y, s, s1, s2);
}

inline int AX_splvals(int n, int m, const float* x, const float* y, int k, const float* v, float* s,
                      float* s1, float* s2) {
  return AX_splvalsf(n, m, x, y, k, v, s, s1, s2);
}
inline int AX_splvals(int n, int m, const double* x, const double* y, int k, const double* v, double* s,
                      double* s1, double* s2) {
  return AX_splvalsd(n, m, x, y, k, v, s, s1, s2);
}

inline int AX_splconv(int n, double g, int m, const float* x, const float* y, int k, const float* v,
                      float* s, float* s1, float* s2) {
  return AX_splconvf(n, g, m, x, y, k, v, s, s1, s2);
}
inline int AX_splconv(int n, double g, int m, const double* x, const double* y, int k, const double* v,
                      double* s, double* s1, double* s2) {
  return AX_splconvd(n, g, m, x, y, k, v, s, s1, s2);
}

inline int AX_polapxcoef(int p, int m, float* x, const float* y, float* a) {
  return AX_polapxcoeff(p, m, x, y, a);
}
inline int AX_polapxcoef(int p, int m, double* x, const double* y, double* a) {
  return AX_polapxcoefd(p, m, x, y, a);
}

inline int AX_polapxval(int p, const float* a, int k, float* v, float* s, float* s1, float* s2) {
  return AX_polapxvalf(p, a, k, v, s, s1, s2);
}
inline int AX_polapxval(int p, const double* a, int k, double* v, double* s, double* s1, double* s2) {
  return AX_polapxvald(p, a, k, v, s, s1, s2);
}

inline int AX_polyapx(int p, int m, float* x, const float* y, int k, float* v, float* s, float* s1,
                      float* s2) {
  return AX_polyapxf(p, m, x, y, k, v, s, s1, s2);
}
inline int AX_polyapx(int p, int m, double* x, const double* y, int k, double* v, double* s, double* s1,
                      double* s2) {
  return AX_polyapxd(p, m, x, y, k, v, s, s1, s2);
}

inline int Ls(float** A, int m, int n, float* rn) { return Ls_f(A, m, n, rn); }
inline int Ls(double** A, int m, int n, double* rn) { return Ls_d(A, m, n, rn); }

inline int Ls_it(float* const* A, int m, int n, float* x, float* r, float* rn, int* iter) {
  return Ls_itf(A, m, n, x, r, rn, iter);
}
inline int Ls_it(double* const* A, int m, int n, double* x, double* r, double* rn, int* iter) {
  return Ls_itd(A, m, n, x, r, rn, iter);
}

inline int Ls_cnn(float** A, int m, int n, float* x, float* r, float* rn) {
  return Ls_cnnf(A, m, n, x, r, rn);
}
inline int Ls_cnn(double** A, int m, int n, double* x, double* r, double* rn) {
  return Ls_cnnd(A, m, n, x, r, rn);
}

inline int Ls_cge(float** A, int m, int n, const float* x0, float* x, float* r, float* rn) {
  return Ls_cgef(A, m, n, x0, x, r, rn);
}
inline int Ls_cge(double** A, int m, int n, const double* x0, double* x, double* r, double* rn) {
  return Ls_cged(A, m, n, x0, x, r, rn);
}

inline int Ls_cle(float** A, int m, int n, const float* x0, float* x, float* r, float* rn) {
  return Ls_clef(A, m, n, x0, x, r, rn);
}
inline int Ls_cle(double** A, int m, int n, const double* x0, double* x, double* r, double* rn) {
  return Ls_cled(A, m, n, x0, x, r, rn);
}

inline int Ls_ldp(float** G, int m, int n, float* x) { return Ls_ldpf(G, m, n, x); }
inline int Ls_ldp(double** G, int m, int n, double* x) { return Ls_ldpd(G, m, n, x); }

inline int Ls_cint(float** A, int m, int n, const float* lo, const float* hi, float* x, float* rn) {
  return Ls_cintf(A, m, n, lo, hi, x, rn);
}
inline int Ls_cint(double** A, int m, int n, const double* lo, const double* hi, double* x,
                   double* rn) {
  return Ls_cintd(A, m, n, lo, hi, x, rn);
}

inline int Ls_cgrn(float** A, int m, int n, float* const* C, int mc, float* x, float* rn) {
  return Ls_cgrnf(A, m, n, C, mc, x, rn);
}
inline int Ls_cgrn(double** A, int m, int n, double* const* C, int mc, double* x, double* rn) {
  return Ls_cgrnd(A, m, n, C, mc, x, rn);
}

template <class Real>
Real** M_alloc(int m, int n, int nmax) {
  if constexpr (sizeof(Real) == 4)
    return M_allocf(m, n, nmax);
  else
    return M_allocd(m, n, nmax);
}
inline void M_dealloc(float** A, int m, int count) { M_deallocf(A, m, count); }
inline void M_dealloc(double** A, int m, int count) { M_deallocd(A, m, count); }

template <class Real>
Real** M_allocs(int n) {
  if constexpr (sizeof(Real) == 4)
    return M_allocsf(n);
  else
    return M_allocsd(n);
}

inline int M_fillc(float* const* A, const float* data, int m, int n) { return M_fillcf(A, data, m, n); }
inline int M_fillc(double* const* A, const double* data, int m, int n) {
  return M_fillcd(A, data, m, n);
}

inline int M_fillr(float* const* A, const float* data, int m, int n) { return M_fillrf(A, data, m, n); }
inline int M_fillr(double* const* A, const double* data, int m, int n) {
  return M_fillrd(A, data, m, n);
}

inline void M_storec(float* data, int m, int n, float** table) { M_storecf(data, m, n, table); }
inline void M_storec(double* data, int m, int n, double** table) { M_storecd(data, m, n, table); }

inline int M_fillsc(float* const* T, const float* data, int n) { return M_fillscf(T, data, n); }
inline int M_fillsc(double* const* T, const double* data, int n) { return M_fillscd(T, data, n); }

inline int M_fillsr(float* const* T, const float* data, int n) { return M_fillsrf(T, data, n); }
inline int M_fillsr(double* const* T, const double* data, int n) { return M_fillsrd(T, data, n); }

inline void M_cop(float* const* A, float* const* B, int m, int n) { M_copf(A, B, m, n); }
inline void M_cop(double* const* A, double* const* B, int m, int n) { M_copd(A, B, m, n); }

inline void M_copss(float* const* S, float* const* T, int n) { M_copssf(S, T, n); }
inline void M_copss(double* const* S, double* const* T, int n) { M_copssd(S, T, n); }

inline void M_copsr(float* const* S, float* const* B, int n) { M_copsrf(S, B, n); }
inline void M_copsr(double* const* S, double* const* B, int n) { M_copsrd(S, B, n); }

inline void M_coptr(float* const* U, float* const* B, int n) { M_coptrf(U, B, n); }
inline void M_coptr(double* const* U, double* const* B, int n) { M_coptrd(U, B, n); }

inline int M_transp(float* const* A, int m, int n, float* const* B) { return M_transpf(A, m, n, B); }
inline int M_transp(double* const* A, int m, int n, double* const* B) { return M_transpd(A, m, n, B); }

inline int M_transpa(float* const* A, int p, int q) { return M_transpaf(A, p, q); }
inline int M_transpa(double* const* A, int p, int q) { return M_transpad(A, p, q); }

inline int M_tran(float* a, int r, int c) { return M_tranf(a, r, c); }
inline int M_tran(double* a, int r, int c) { return M_trand(a, r, c); }

inline void M_lminus(float* const* A, int n, int row) { M_lminusf(A, n, row); }
inline void M_lminus(double* const* A, int n, int row) { M_lminusd(A, n, row); }

inline void M_swap(float* const* A, int j1, int j2, int r1, int r2) { M_swapf(A, j1, j2, r1, r2); }
inline void M_swap(double* const* A, int j1, int j2, int r1, int r2) { M_swapd(A, j1, j2, r1, r2); }

inline int M_rowsort(float* const* A, int m, int n, int* idx) { return M_rowsortf(A, m, n, idx); }
inline int M_rowsort(double* const* A, int m, int n, int* idx) { return M_rowsortd(A, m, n, idx); }

inline int M_colsort(float* a, int m, int n, const int* idx) { return M_colsortf(a, m, n, idx); }
inline int M_colsort(double* a, int m, int n, const int* idx) { return M_colsortd(a, m, n, idx); }

inline void M_mv(float* const* A, const float* x, int m, int n, float* y) { M_mvf(A, x, m, n, y); }
inline void M_mv(double* const* A, const double* x, int m, int n, double* y) { M_mvd(A, x, m, n, y); }

inline void M_mtv(float* const* A, const float* x, int m, int n, float* y) { M_mtvf(A, x, m, n, y); }
inline void M_mtv(double* const* A, const double* x, int m, int n, double* y) { M_mtvd(A, x, m, n, y); }

inline void M_smv(float* const* S, const float* x, int n, float* y) { M_smvf(S, x, n, y); }
inline void M_smv(double* const* S, const double* x, int n, double* y) { M_smvd(S, x, n, y); }

inline void M_ltv(float* const* A, const float* x, const float* b, int m, int n, int mode, float* r) {
  M_ltvf(A, x, b, m, n, mode, r);
}
inline void M_ltv(double* const* A, const double* x, const double* b, int m, int n, int mode,
                  double* r) {
  M_ltvd(A, x, b, m, n, mode, r);
}

inline void M_mm(float* const* A, float* const* B, int m, int n, int p, float* const* C) {
  M_mmf(A, B, m, n, p, C);
}
inline void M_mm(double* const* A, double* const* B, int m, int n, int p, double* const* C) {
  M_mmd(A, B, m, n, p, C);
}

inline int M_mmb(float* const* A, float* const* B, int m, int n, int p) {
  return M_mmbf(A, B, m, n, p);
}
inline int M_mmb(double* const* A, double* const* B, int m, int n, int p) {
  return M_mmbd(A, B, m, n, p);
}

inline void M_mtm(float* const* A, float* const* B, int m, int n, int p, float* const* C) {
  M_mtmf(A, B, m, n, p, C);
}
inline void M_mtm(double* const* A, double* const* B, int m, int n, int p, double* const* C) {
  M_mtmd(A, B, m, n, p, C);
}

inline int M_mtmb(float* const* A, float* const* B, int m, int n, int p) {
  return M_mtmbf(A, B, m, n, p);
}
inline int M_mtmb(double* const* A, double* const* B, int m, int n, int p) {
  return M_mtmbd(A, B, m, n, p);
}

inline void M_mmt(float* const* A, float* const* B, int m, int n, int p, float* const* C) {
  M_mmtf(A, B, m, n, p, C);
}
inline void M_mmt(double* const* A, double* const* B, int m, int n, int p, double* const* C) {
  M_mmtd(A, B, m, n, p, C);
}

inline int M_mmtb(float* const* A, float* const* B, int m, int n, int p) {
  return M_mmtbf(A, B, m, n, p);
}
inline int M_mmtb(double* const* A, double* const* B, int m, int n, int p) {
  return M_mmtbd(A, B, m, n, p);
}

inline void M_mmts(float* const* A, int m, int n, float* const* S) { M_mmtsf(A, m, n, S); }
inline void M_mmts(double* const* A, int m, int n, double* const* S) { M_mmtsd(A, m, n, S); }

inline void M_mtms(float* const* A, int m, int n, float* const* S) { M_mtmsf(A, m, n, S); }
inline void M_mtms(double* const* A, int m, int n, double* const* S) { M_mtmsd(A, m, n, S); }

inline void M_smm(float* const* S, float* const* B, int n, int p, float* const* C) {
  M_smmf(S, B, n, p, C);
}
inline void M_smm(double* const* S, double* const* B, int n, int p, double* const* C) {
  M_smmd(S, B, n, p, C);
}

inline int M_smma(float* const* S, float* const* B, int n, int p) { return M_smmaf(S, B, n, p); }
inline int M_smma(double* const* S, double* const* B, int n, int p) { return M_smmad(S, B, n, p); }

inline void M_msm(float* const* A, float* const* S, int n, int m, float* const* C) {
  M_msmf(A, S, n, m, C);
}
inline void M_msm(double* const* A, double* const* S, int n, int m, double* const* C) {
  M_msmd(A, S, n, m, C);
}

inline void M_smtm(float* const* S, float* const* B, int n, int p, float* const* C) {
  M_smtmf(S, B, n, p, C);
}
inline void M_smtm(double* const* S, double* const* B, int n, int p, double* const* C) {
  M_smtmd(S, B, n, p, C);
}

inline int M_smtma(float* const* S, float* const* B, int n, int p) { return M_smtmaf(S, B, n, p); }
inline int M_smtma(double* const* S, double* const* B, int n, int p) { return M_smtmad(S, B, n, p); }

inline void M_tmsm(float* const* A, float* const* S, int n, int m, float* const* C) {
  M_tmsmf(A, S, n, m, C);
}
inline void M_tmsm(double* const* A, double* const* S, int n, int m, double* const* C) {
  M_tmsmd(A, S, n, m, C);
}

inline void M_smsm(float* const* S1, float* const* S2, int n, float* const* C) {
  M_smsmf(S1, S2, n, C);
}
inline void M_smsm(double* const* S1, double* const* S2, int n, double* const* C) {
  M_smsmd(S1, S2, n, C);
}

inline void M_uu(float* const* U1, float* const* U2, int n, float* const* C) { M_uuf(U1, U2, n, C); }
inline void M_uu(double* const* U1, double* const* U2, int n, double* const* C) { M_uud(U1, U2, n, C); }

inline int M_uuu(float* const* U1, float* const* U2, int n) { return M_uuuf(U1, U2, n); }
inline int M_uuu(double* const* U1, double* const* U2, int n) { return M_uuud(U1, U2, n); }

inline void M_utu(float* const* U, int n, float* const* S) { M_utuf(U, n, S); }
inline void M_utu(double* const* U, int n, double* const* S) { M_utud(U, n, S); }

inline int M_utuu(float* const* U, int n) { return M_utuuf(U, n); }
inline int M_utuu(double* const* U, int n) { return M_utuud(U, n); }

inline void M_uut(float* const* U, int n, float* const* S) { M_uutf(U, n, S); }
inline void M_uut(double* const* U, int n, double* const* S) { M_uutd(U, n, S); }

inline int M_uutu(float* const* U, int n) { return M_uutuf(U, n); }
inline int M_uutu(double* const* U, int n) { return M_uutud(U, n); }

inline void M_um(float* const* U, float* const* B, int n, int p, float* const* C) {
  M_umf(U, B, n, p, C);
}
inline void M_um(double* const* U, double* const* B, int n, int p, double* const* C) {
  M_umd(U, B, n, p, C);
}

inline int M_uma(float* const* U, float* const* B, int n, int p) { return M_umaf(U, B, n, p); }
inline int M_uma(double* const* U, double* const* B, int n, int p) { return M_umad(U, B, n, p); }

inline void M_utm(float* const* U, float* const* B, int n, int p, float* const* C) {
  M_utmf(U, B, n, p, C);
}
inline void M_utm(double* const* U, double* const* B, int n, int p, double* const* C) {
  M_utmd(U, B, n, p, C);
}

inline int M_utma(float* const* U, float* const* B, int n, int p) { return M_utmaf(U, B, n, p); }
inline int M_utma(double* const* U, double* const* B, int n, int p) { return M_utmad(U, B, n, p); }

inline void M_mu(float* const* A, float* const* U, int n, int m, float* const* C) {
  M_muf(A, U, n, m, C);
}
inline void M_mu(double* const* A, double* const* U, int n, int m, double* const* C) {
  M_mud(A, U, n, m, C);
}

inline void M_mut(float* const* A, float* const* U, int n, int m, float* const* C) {
  M_mutf(A, U, n, m, C);
}
inline void M_mut(double* const* A, double* const* U, int n, int m, double* const* C) {
  M_mutd(A, U, n, m, C);
}

inline void M_mtu(float* const* A, float* const* U, int n, int m, float* const* C) {
  M_mtuf(A, U, n, m, C);
}
inline void M_mtu(double* const* A, double* const* U, int n, int m, double* const* C) {
  M_mtud(A, U, n, m, C);
}

inline void M_invt(float* const* U, float* const* B, int n, int p) { M_invtf(U, B, n, p); }
inline void M_invt(double* const* U, double* const* B, int n, int p) { M_invtd(U, B, n, p); }

inline void M_invutm(float* const* U, float* const* B, int n, int p) { M_invutmf(U, B, n, p); }
inline void M_invutm(double* const* U, double* const* B, int n, int p) { M_invutmd(U, B, n, p); }

inline void M_invuu(float* const* U, float* const* V, int n) { M_invuuf(U, V, n); }
inline void M_invuu(double* const* U, double* const* V, int n) { M_invuud(U, V, n); }

inline void M_invu(float* const* U, float* const* X, int n) { M_invuf(U, X, n); }
inline void M_invu(double* const* U, double* const* X, int n) { M_invud(U, X, n); }

inline int M_tinv(float* const* T, int n) { return M_tinvf(T, n); }
inline int M_tinv(double* const* T, int n) { return M_tinvd(T, n); }

inline int M_qrd(float** A, int m, int n, int k, int* ip) { return M_qrdf(A, m, n, k, ip); }
inline int M_qrd(double** A, int m, int n, int k, int* ip) { return M_qrdd(A, m, n, k, ip); }

inline int M_qrdeq(float** A, int n, int k) { return M_qrdeqf(A, n, k); }
inline int M_qrdeq(double** A, int n, int k) { return M_qrdeqd(A, n, k); }

inline int M_invGJ(float** A, int n, double* det) { return M_invGJf(A, n, det); }
inline int M_invGJ(double** A, int n, double* det) { return M_invGJd(A, n, det); }

inline int M_chol(float* const* S, int n, float* const* U) { return M_cholf(S, n, U); }
inline int M_chol(double* const* S, int n, double* const* U) { return M_chold(S, n, U); }

inline int M_choleq(float* const* S, float* const* B, int n, int p, float* const* U) {
  return M_choleqf(S, B, n, p, U);
}
inline int M_choleq(double* const* S, double* const* B, int n, int p, double* const* U) {
  return M_choleqd(S, B, n, p, U);
}

inline int M_cholinv(float* const* S, int n, float* const* U, float* const* X) {
  return M_cholinvf(S, n, U, X);
}
inline int M_cholinv(double* const* S, int n, double* const* U, double* const* X) {
  return M_cholinvd(S, n, U, X);
}

inline int M_invs(float* const* S, int n, float* const* U) { return M_invsf(S, n, U); }
inline int M_invs(double* const* S, int n, double* const* U) { return M_invsd(S, n, U); }
