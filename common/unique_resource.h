// The kinds of system resource the library holds privately, each a traits
// type for the one owner, QOR::internal::UniqueResource
// (qorcor14/internal/unique_resource.h): kernel handles, colour profiles and
// transforms, LocalAlloc buffers, BSTRs and C runtime streams. Kernel handles
// have theirs beside the owner, and registry keys and Windows Error Reporting
// blocks beside the public classes that hold them (registry.h, process.h).
#pragma once

#include <qorcor14/internal/unique_resource.h>

#include <windows.h>
#include <icm.h>
#include <oleauto.h>

#include <cstdio>

namespace QOR::internal {

// Profiles from OpenColorProfileW, closed with CloseColorProfile.
struct ColourProfileTraits : NullIsEmpty<HPROFILE> {
  static void close(type value) noexcept { CloseColorProfile(value); }
};
using UniqueColourProfile = UniqueResource<ColourProfileTraits>;

// Transforms from CreateMultiProfileTransform, freed with DeleteColorTransform.
struct ColourTransformTraits : NullIsEmpty<HTRANSFORM> {
  static void close(type value) noexcept { DeleteColorTransform(value); }
};
using UniqueColourTransform = UniqueResource<ColourTransformTraits>;

// Buffers the system allocates for the caller with LocalAlloc
// (FORMAT_MESSAGE_ALLOCATE_BUFFER, CommandLineToArgvW), freed with LocalFree.
// Note: Pointer is the buffer's own type (wchar_t*, LPWSTR*).
template <class Pointer>
struct LocalMemoryTraits : NullIsEmpty<Pointer> {
  static void close(Pointer value) noexcept { LocalFree(value); }
};
template <class Pointer>
using UniqueLocalMemory = UniqueResource<LocalMemoryTraits<Pointer>>;

// Strings COM hands out as BSTR, freed with SysFreeString.
struct BstrTraits : NullIsEmpty<BSTR> {
  static void close(type value) noexcept { SysFreeString(value); }
};
using UniqueBstr = UniqueResource<BstrTraits>;

// C runtime streams, closed with fclose.
// Note: a close whose failure must be reported releases the stream and calls
// fclose itself.
struct FileStreamTraits : NullIsEmpty<std::FILE*> {
  static void close(type value) noexcept { std::fclose(value); }
};
using UniqueFileStream = UniqueResource<FileStreamTraits>;

}  // namespace QOR::internal
