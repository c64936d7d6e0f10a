// tools/twins.hpp - the library's functions under their stems: the element type picks the twin.
//
// Written by tools/twins.py from the public headers.
#pragma once

#include "tabfit/tabfit.h"

namespace host {

template <class Result, class... Arguments>
struct Twin {
  Result (*function)(Arguments...);

  Result operator()(Arguments... arguments) const { return function(arguments...); }
};

/// Two functions as overloads.
template <class Single, class Double>
struct Twins : Single, Double {
  using Single::operator();
  using Double::operator();
};

template <class R1, class... A1, class R2, class... A2>
constexpr Twins<Twin<R1, A1...>, Twin<R2, A2...>> twins(R1 (*single_twin)(A1...),
                                                        R2 (*double_twin)(A2...)) {
  return {{single_twin}, {double_twin}};
}

}  // namespace host

inline constexpr auto M_dealloc = host::twins(M_deallocf, M_deallocd);
inline constexpr auto M_fillc = host::twins(M_fillcf, M_fillcd);
inline constexpr auto M_fillr = host::twins(M_fillrf, M_fillrd);
inline constexpr auto M_storec = host::twins(M_storecf, M_storecd);
inline constexpr auto M_fillsc = host::twins(M_fillscf, M_fillscd);
inline constexpr auto M_fillsr = host::twins(M_fillsrf, M_fillsrd);
inline constexpr auto M_cop = host::twins(M_copf, M_copd);
inline constexpr auto M_copss = host::twins(M_copssf, M_copssd);
inline constexpr auto M_copsr = host::twins(M_copsrf, M_copsrd);
inline constexpr auto M_coptr = host::twins(M_coptrf, M_coptrd);
inline constexpr auto M_transp = host::twins(M_transpf, M_transpd);
inline constexpr auto M_transpa = host::twins(M_transpaf, M_transpad);
inline constexpr auto M_tran = host::twins(M_tranf, M_trand);
inline constexpr auto M_lminus = host::twins(M_lminusf, M_lminusd);
inline constexpr auto M_swap = host::twins(M_swapf, M_swapd);
inline constexpr auto M_rowsort = host::twins(M_rowsortf, M_rowsortd);
inline constexpr auto M_colsort = host::twins(M_colsortf, M_colsortd);
inline constexpr auto M_mv = host::twins(M_mvf, M_mvd);
inline constexpr auto M_mtv = host::twins(M_mtvf, M_mtvd);
inline constexpr auto M_smv = host::twins(M_smvf, M_smvd);
inline constexpr auto M_ltv = host::twins(M_ltvf, M_ltvd);
inline constexpr auto M_mm = host::twins(M_mmf, M_mmd);
inline constexpr auto M_mmb = host::twins(M_mmbf, M_mmbd);
inline constexpr auto M_mtm = host::twins(M_mtmf, M_mtmd);
inline constexpr auto M_mtmb = host::twins(M_mtmbf, M_mtmbd);
inline constexpr auto M_mmt = host::twins(M_mmtf, M_mmtd);
inline constexpr auto M_mmtb = host::twins(M_mmtbf, M_mmtbd);
inline constexpr auto M_mmts = host::twins(M_mmtsf, M_mmtsd);
inline constexpr auto M_mtms = host::twins(M_mtmsf, M_mtmsd);
inline constexpr auto M_smm = host::twins(M_smmf, M_smmd);
inline constexpr auto M_smma = host::twins(M_smmaf, M_smmad);
inline constexpr auto M_msm = host::twins(M_msmf, M_msmd);
inline constexpr auto M_smtm = host::twins(M_smtmf, M_smtmd);
inline constexpr auto M_smtma = host::twins(M_smtmaf, M_smtmad);
inline constexpr auto M_tmsm = host::twins(M_tmsmf, M_tmsmd);
inline constexpr auto M_smsm = host::twins(M_smsmf, M_smsmd);
inline constexpr auto M_uu = host::twins(M_uuf, M_uud);
inline constexpr auto M_uuu = host::twins(M_uuuf, M_uuud);
inline constexpr auto M_utu = host::twins(M_utuf, M_utud);
inline constexpr auto M_utuu = host::twins(M_utuuf, M_utuud);
inline constexpr auto M_uut = host::twins(M_uutf, M_uutd);
inline constexpr auto M_uutu = host::twins(M_uutuf, M_uutud);
inline constexpr auto M_um = host::twins(M_umf, M_umd);
inline constexpr auto M_uma = host::twins(M_umaf, M_umad);
inline constexpr auto M_utm = host::twins(M_utmf, M_utmd);
inline constexpr auto M_utma = host::twins(M_utmaf, M_utmad);
inline constexpr auto M_mu = host::twins(M_muf, M_mud);
inline constexpr auto M_mut = host::twins(M_mutf, M_mutd);
inline constexpr auto M_mtu = host::twins(M_mtuf, M_mtud);
inline constexpr auto M_invt = host::twins(M_invtf, M_invtd);
inline constexpr auto M_invutm = host::twins(M_invutmf, M_invutmd);
inline constexpr auto M_invuu = host::twins(M_invuuf, M_invuud);
inline constexpr auto M_invu = host::twins(M_invuf, M_invud);
inline constexpr auto M_tinv = host::twins(M_tinvf, M_tinvd);
inline constexpr auto M_qrd = host::twins(M_qrdf, M_qrdd);
inline constexpr auto M_qrdeq = host::twins(M_qrdeqf, M_qrdeqd);
inline constexpr auto M_invGJ = host::twins(M_invGJf, M_invGJd);
inline constexpr auto M_chol = host::twins(M_cholf, M_chold);
inline constexpr auto M_choleq = host::twins(M_choleqf, M_choleqd);
inline constexpr auto M_cholinv = host::twins(M_cholinvf, M_cholinvd);
inline constexpr auto M_invs = host::twins(M_invsf, M_invsd);
inline constexpr auto Ls = host::twins(Ls_f, Ls_d);
inline constexpr auto Ls_it = host::twins(Ls_itf, Ls_itd);
inline constexpr auto Ls_cnn = host::twins(Ls_cnnf, Ls_cnnd);
inline constexpr auto Ls_cge = host::twins(Ls_cgef, Ls_cged);
inline constexpr auto Ls_cle = host::twins(Ls_clef, Ls_cled);
inline constexpr auto Ls_ldp = host::twins(Ls_ldpf, Ls_ldpd);
inline constexpr auto Ls_cint = host::twins(Ls_cintf, Ls_cintd);
inline constexpr auto Ls_cgrn = host::twins(Ls_cgrnf, Ls_cgrnd);
inline constexpr auto AX_lintval = host::twins(AX_lintvalf, AX_lintvald);
inline constexpr auto AX_linttab = host::twins(AX_linttabf, AX_linttabd);
inline constexpr auto AX_intspl3 = host::twins(AX_intspl3f, AX_intspl3d);
inline constexpr auto AX_intspl3val = host::twins(AX_intspl3valf, AX_intspl3vald);
inline constexpr auto AX_intspl3tab = host::twins(AX_intspl3tabf, AX_intspl3tabd);
inline constexpr auto AX_freed2fcs = host::twins(AX_freed2fcsf, AX_freed2fcsd);
inline constexpr auto AX_apxcoef = host::twins(AX_apxcoeff, AX_apxcoefd);
inline constexpr auto AX_apxval = host::twins(AX_apxvalf, AX_apxvald);
inline constexpr auto AX_apxvals = host::twins(AX_apxvalsf, AX_apxvalsd);
inline constexpr auto AX_splsmoo = host::twins(AX_splsmoof, AX_splsmood);
inline constexpr auto AX_splvals = host::twins(AX_splvalsf, AX_splvalsd);
inline constexpr auto AX_splconv = host::twins(AX_splconvf, AX_splconvd);
inline constexpr auto AX_polapxcoef = host::twins(AX_polapxcoeff, AX_polapxcoefd);
inline constexpr auto AX_polapxval = host::twins(AX_polapxvalf, AX_polapxvald);
inline constexpr auto AX_polyapx = host::twins(AX_polyapxf, AX_polyapxd);

/// M_alloc<float>, M_alloc<double>: the arguments are the same.
template <class Real>
constexpr auto M_alloc = M_allocf;
template <>
inline constexpr auto M_alloc<double> = M_allocd;

/// M_allocs<float>, M_allocs<double>: the arguments are the same.
template <class Real>
constexpr auto M_allocs = M_allocsf;
template <>
inline constexpr auto M_allocs<double> = M_allocsd;

/// AX_d2fcs<float>, AX_d2fcs<double>: the arguments are the same.
template <class Real>
constexpr auto AX_d2fcs = AX_d2fcsf;
template <>
inline constexpr auto AX_d2fcs<double> = AX_d2fcsd;
