// The instruction-set level that the library's vector kernels may use on this
// processor. The DLL is built for the x86-64 baseline (SSE2); kernels for a
// higher level live in translation units of their own, compiled for it, and
// are called only when cpuLevel() reports it.
#pragma once

namespace QOR::internal {

// Ordered: each level includes the ones before it.
//   sse2  - every x86-64 processor.
//   ssse3 - adds pshufb (byte shuffles), SSE3 and SSSE3.
//   avx2  - adds 256-bit integer vectors, with AVX, BMI1 and BMI2, and the
//           operating system saving the YMM registers.
enum class CpuLevel { sse2, ssse3, avx2 };

// The processor's level, detected on the first call and fixed from then on.
// The environment variable QORCOR14_CPU (sse2, ssse3 or avx2), read at the
// same time, lowers it so that a run can take the paths of an older
// processor; it never raises it, and another value is ignored. Thread-safe,
// and a load and a branch after the first call.
[[nodiscard]] CpuLevel cpuLevel();

}  // namespace QOR::internal
