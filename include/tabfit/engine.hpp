// tabfit/engine.hpp - the C functions under their stems: the element type picks the twin.
//
//     tabfit::engine::M_mm(A, B, m, n, p, C);      // M_mmf or M_mmd, by the type of A
//     tabfit::engine::M_alloc<double>(m, n, n);    // where the arguments do not tell
//
// What a function does, its statuses and its habits stand in the C headers. Written by tools/twins.py.
#pragma once

#include "tabfit/tabfit.h"

namespace tabfit::detail {

template <class Result, class... Arguments>
struct twin {
  Result (*function)(Arguments...);

  Result operator()(Arguments... arguments) const noexcept { return function(arguments...); }
};

/// Two functions as overloads.
template <class Single, class Double>
struct overloads : Single, Double {
  using Single::operator();
  using Double::operator();
};

template <class R1, class... A1, class R2, class... A2>
constexpr overloads<twin<R1, A1...>, twin<R2, A2...>> twins(R1 (*single_twin)(A1...),
                                                            R2 (*double_twin)(A2...)) {
  return {{single_twin}, {double_twin}};
}

}  // namespace tabfit::detail

namespace tabfit::engine {

inline constexpr auto M_dealloc = detail::twins(M_deallocf, M_deallocd);
inline constexpr auto M_fillc = detail::twins(M_fillcf, M_fillcd);
inline constexpr auto M_fillr = detail::twins(M_fillrf, M_fillrd);
inline constexpr auto M_storec = detail::twins(M_storecf, M_storecd);
inline constexpr auto M_fillsc = detail::twins(M_fillscf, M_fillscd);
inline constexpr auto M_fillsr = detail::twins(M_fillsrf, M_fillsrd);
inline constexpr auto M_cop = detail::twins(M_copf, M_copd);
inline constexpr auto M_copss = detail::twins(M_copssf, M_copssd);
inline constexpr auto M_copsr = detail::twins(M_copsrf, M_copsrd);
inline constexpr auto M_coptr = detail::twins(M_coptrf, M_coptrd);
inline constexpr auto M_transp = detail::twins(M_transpf, M_transpd);
inline constexpr auto M_transpa = detail::twins(M_transpaf, M_transpad);
inline constexpr auto M_tran = detail::twins(M_tranf, M_trand);
inline constexpr auto M_lminus = detail::twins(M_lminusf, M_lminusd);
inline constexpr auto M_swap = detail::twins(M_swapf, M_swapd);
inline constexpr auto M_rowsort = detail::twins(M_rowsortf, M_rowsortd);
inline constexpr auto M_colsort = detail::twins(M_colsortf, M_colsortd);
inline constexpr auto M_mv = detail::twins(M_mvf, M_mvd);
inline constexpr auto M_mtv = detail::twins(M_mtvf, M_mtvd);
inline constexpr auto M_smv = detail::twins(M_smvf, M_smvd);
inline constexpr auto M_ltv = detail::twins(M_ltvf, M_ltvd);
inline constexpr auto M_mm = detail::twins(M_mmf, M_mmd);
inline constexpr auto M_mmb = detail::twins(M_mmbf, M_mmbd);
inline constexpr auto M_mtm = detail::twins(M_mtmf, M_mtmd);
inline constexpr auto M_mtmb = detail::twins(M_mtmbf, M_mtmbd);
inline constexpr auto M_mmt = detail::twins(M_mmtf, M_mmtd);
inline constexpr auto M_mmtb = detail::twins(M_mmtbf, M_mmtbd);
inline constexpr auto M_mmts = detail::twins(M_mmtsf, M_mmtsd);
inline constexpr auto M_mtms = detail::twins(M_mtmsf, M_mtmsd);
inline constexpr auto M_smm = detail::twins(M_smmf, M_smmd);
inline constexpr auto M_smma = detail::twins(M_smmaf, M_smmad);
inline constexpr auto M_msm = detail::twins(M_msmf, M_msmd);
inline constexpr auto M_smtm = detail::twins(M_smtmf, M_smtmd);
inline constexpr auto M_smtma = detail::twins(M_smtmaf, M_smtmad);
inline constexpr auto M_tmsm = detail::twins(M_tmsmf, M_tmsmd);
inline constexpr auto M_smsm = detail::twins(M_smsmf, M_smsmd);
inline constexpr auto M_uu = detail::twins(M_uuf, M_uud);
inline constexpr auto M_uuu = detail::twins(M_uuuf, M_uuud);
inline constexpr auto M_utu = detail::twins(M_utuf, M_utud);
inline constexpr auto M_utuu = detail::twins(M_utuuf, M_utuud);
inline constexpr auto M_uut = detail::twins(M_uutf, M_uutd);
inline constexpr auto M_uutu = detail::twins(M_uutuf, M_uutud);
inline constexpr auto M_um = detail::twins(M_umf, M_umd);
inline constexpr auto M_uma = detail::twins(M_umaf, M_umad);
inline constexpr auto M_utm = detail::twins(M_utmf, M_utmd);
inline constexpr auto M_utma = detail::twins(M_utmaf, M_utmad);
inline constexpr auto M_mu = detail::twins(M_muf, M_mud);
inline constexpr auto M_mut = detail::twins(M_mutf, M_mutd);
inline constexpr auto M_mtu = detail::twins(M_mtuf, M_mtud);
inline constexpr auto M_invt = detail::twins(M_invtf, M_invtd);
inline constexpr auto M_invutm = detail::twins(M_invutmf, M_invutmd);
inline constexpr auto M_invuu = detail::twins(M_invuuf, M_invuud);
inline constexpr auto M_invu = detail::twins(M_invuf, M_invud);
inline constexpr auto M_tinv = detail::twins(M_tinvf, M_tinvd);
inline constexpr auto M_qrd = detail::twins(M_qrdf, M_qrdd);
inline constexpr auto M_qrdeq = detail::twins(M_qrdeqf, M_qrdeqd);
inline constexpr auto M_invGJ = detail::twins(M_invGJf, M_invGJd);
inline constexpr auto M_chol = detail::twins(M_cholf, M_chold);
inline constexpr auto M_choleq = detail::twins(M_choleqf, M_choleqd);
inline constexpr auto M_cholinv = detail::twins(M_cholinvf, M_cholinvd);
inline constexpr auto M_invs = detail::twins(M_invsf, M_invsd);
inline constexpr auto Ls = detail::twins(Ls_f, Ls_d);
inline constexpr auto Ls_it = detail::twins(Ls_itf, Ls_itd);
inline constexpr auto Ls_cnn = detail::twins(Ls_cnnf, Ls_cnnd);
inline constexpr auto Ls_cge = detail::twins(Ls_cgef, Ls_cged);
inline constexpr auto Ls_cle = detail::twins(Ls_clef, Ls_cled);
inline constexpr auto Ls_ldp = detail::twins(Ls_ldpf, Ls_ldpd);
inline constexpr auto Ls_cint = detail::twins(Ls_cintf, Ls_cintd);
inline constexpr auto Ls_cgrn = detail::twins(Ls_cgrnf, Ls_cgrnd);
inline constexpr auto AX_lintval = detail::twins(AX_lintvalf, AX_lintvald);
inline constexpr auto AX_linttab = detail::twins(AX_linttabf, AX_linttabd);
inline constexpr auto AX_intspl3 = detail::twins(AX_intspl3f, AX_intspl3d);
inline constexpr auto AX_intspl3val = detail::twins(AX_intspl3valf, AX_intspl3vald);
inline constexpr auto AX_intspl3tab = detail::twins(AX_intspl3tabf, AX_intspl3tabd);
inline constexpr auto AX_freed2fcs = detail::twins(AX_freed2fcsf, AX_freed2fcsd);
inline constexpr auto AX_apxcoef = detail::twins(AX_apxcoeff, AX_apxcoefd);
inline constexpr auto AX_apxval = detail::twins(AX_apxvalf, AX_apxvald);
inline constexpr auto AX_apxvals = detail::twins(AX_apxvalsf, AX_apxvalsd);
inline constexpr auto AX_splsmoo = detail::twins(AX_splsmoof, AX_splsmood);
inline constexpr auto AX_splvals = detail::twins(AX_splvalsf, AX_splvalsd);
inline constexpr auto AX_splconv = detail::twins(AX_splconvf, AX_splconvd);
inline constexpr auto AX_polapxcoef = detail::twins(AX_polapxcoeff, AX_polapxcoefd);
inline constexpr auto AX_polapxval = detail::twins(AX_polapxvalf, AX_polapxvald);
inline constexpr auto AX_polyapx = detail::twins(AX_polyapxf, AX_polyapxd);

/// M_alloc<float>, M_alloc<double>: the arguments are the same.
template <class Real>
inline constexpr auto M_alloc = ::M_allocf;
template <>
inline constexpr auto M_alloc<double> = ::M_allocd;

/// M_allocs<float>, M_allocs<double>: the arguments are the same.
template <class Real>
inline constexpr auto M_allocs = ::M_allocsf;
template <>
inline constexpr auto M_allocs<double> = ::M_allocsd;

/// AX_d2fcs<float>, AX_d2fcs<double>: the arguments are the same.
template <class Real>
inline constexpr auto AX_d2fcs = ::AX_d2fcsf;
template <>
inline constexpr auto AX_d2fcs<double> = ::AX_d2fcsd;

}  // namespace tabfit::engine
