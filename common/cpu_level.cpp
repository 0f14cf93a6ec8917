// Detection of the processor's instruction-set level through CPUID, and the
// cap from QORCOR14_CPU.
#include "common/cpu_level.h"

#include <windows.h>

#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <cpuid.h>
#endif

#include <cstdint>
#include <cwchar>
#include <iterator>

namespace QOR::internal {
namespace {

struct CpuidRegisters {
  std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// CPUID leaf `leaf`, sub-leaf `subleaf`; zeros for a leaf the processor lacks.
CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf) {
  CpuidRegisters r;
#if defined(_MSC_VER)
  int regs[4];
  __cpuid(regs, 0);
  if (static_cast<std::uint32_t>(regs[0]) < leaf) return r;
  __cpuidex(regs, static_cast<int>(leaf), static_cast<int>(subleaf));
  r = {static_cast<std::uint32_t>(regs[0]), static_cast<std::uint32_t>(regs[1]), static_cast<std::uint32_t>(regs[2]),
       static_cast<std::uint32_t>(regs[3])};
#else
  if (static_cast<std::uint32_t>(__get_cpuid_max(0, nullptr)) < leaf) return r;
  __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
#endif
  return r;
}

// The state components the operating system saves on a thread switch
// (XCR0); read only when CPUID reports OSXSAVE.
std::uint64_t enabledStateComponents() {
#if defined(_MSC_VER)
  return _xgetbv(0);
#else
  std::uint32_t lo = 0, hi = 0;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  return std::uint64_t(hi) << 32 | lo;
#endif
}

constexpr bool bit(std::uint32_t reg, int n) { return (reg >> n & 1u) != 0; }

CpuLevel detect() {
  const CpuidRegisters basic = cpuid(1, 0);
  if (!bit(basic.ecx, 0) || !bit(basic.ecx, 9)) return CpuLevel::sse2;  // SSE3, SSSE3
  // AVX needs the processor (AVX, OSXSAVE) and the operating system, which
  // must save both the XMM and the YMM halves (XCR0 bits 1 and 2).
  const bool avx = bit(basic.ecx, 28) && bit(basic.ecx, 27) && (enabledStateComponents() & 0x6) == 0x6;
  const CpuidRegisters extended = cpuid(7, 0);
  const bool avx2 = bit(extended.ebx, 5), bmi1 = bit(extended.ebx, 3), bmi2 = bit(extended.ebx, 8);
  return avx && avx2 && bmi1 && bmi2 ? CpuLevel::avx2 : CpuLevel::ssse3;
}

// The level QORCOR14_CPU names, or avx2 (no cap) when it is unset or names
// none of the levels.
CpuLevel cap() {
  wchar_t value[16];
  const DWORD n = GetEnvironmentVariableW(L"QORCOR14_CPU", value, static_cast<DWORD>(std::size(value)));
  if (n == 0 || n >= std::size(value)) return CpuLevel::avx2;
  if (std::wcscmp(value, L"sse2") == 0) return CpuLevel::sse2;
  if (std::wcscmp(value, L"ssse3") == 0) return CpuLevel::ssse3;
  return CpuLevel::avx2;
}

}  // namespace

CpuLevel cpuLevel() {
  static const CpuLevel level = [] {
    const CpuLevel found = detect(), limit = cap();
    return found < limit ? found : limit;
  }();
  return level;
}

}  // namespace QOR::internal
