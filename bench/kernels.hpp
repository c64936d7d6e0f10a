// bench/kernels.hpp - the kernels that this library and its peers run.
//
// Each program of the benchmark is built for one of these. The library is a build with no wider
// kernels, and Eigen is compiled for them. Peers that look at the processor, and the interpreters, are
// told through their environment before they are loaded. They are told even where everybody may choose:
// OpenBLAS and BLIS go by the name of the processor, and take narrow kernels for a name that they do
// not know.
#pragma once

#include <string>

namespace tabfit::bench {

enum class Kernels {
  own,     ///< the widest of the processor; for a peer its environment may overrule that
  avx512,  ///< 512-bit vectors
  avx2,    ///< 256-bit vectors with fused multiply-adds: most of today's processors
  plain    ///< 128-bit vectors: processors without AVX
};

/// Holds the peers to kernels, with one thread each. Call it before everything else. The program ends
/// if the processor lacks the instructions.
void hold_to(Kernels kernels);

/// The widest kernels in use; never `own`.
Kernels kernels_in_use();

/// One line for the head of the table: the kernels of those that can be asked. The program ends if one
/// of them does not run what it was told.
std::string kernels_description();

}  // namespace tabfit::bench
