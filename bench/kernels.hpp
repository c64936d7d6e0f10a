// bench/kernels.hpp - the kernels that this library and its peers run.
//
// A program of the benchmark is built for one of these. The library itself is a build with kernels no
// wider, Eigen is compiled for them, and peers that look at the processor are told through their
// environment before they are loaded, as are the interpreters. They are told even where everybody may choose:
// OpenBLAS and BLIS go by the processor's name, and take narrow kernels for a name that they do not know.
#pragma once

#include <string>

namespace tabfit::bench {

enum class Kernels {
  own,     ///< the widest that the processor has, unless the environment says otherwise to a peer
  avx512,  ///< 512-bit vectors
  avx2,    ///< 256-bit vectors with fused multiply-adds: most of today's processors
  plain    ///< 128-bit vectors: processors without AVX
};

/// Holds the peers to kernels, with one thread each. To be called before anything else; the program ends
/// if the processor lacks the instructions.
void hold_to(Kernels kernels);

/// The widest that are used: any but own.
Kernels kernels_in_use();

/// One line for the table's head: whose kernels run, as far as they can be asked. The program ends if one of
/// them is not held.
std::string kernels_description();

}  // namespace tabfit::bench
