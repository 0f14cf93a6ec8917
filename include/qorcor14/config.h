// qorcor14/config.h - the export macro and the instantiation rule shared by
// every public header.
//
// QORCOR14_API marks what the DLL exports: dllexport while the library itself
// is compiled (the build defines QORCOR14_BUILDING), dllimport for clients.
//
// QORCOR14_EXTERN_TEMPLATE(T) declares an explicit instantiation that the DLL
// provides, so that clients do not instantiate it again.
//
// Note: MinGW GCC does not export the inline members of an exported explicit
// instantiation, so a GCC client that saw the extern declaration would be left
// with unresolved references to them (at -O0, where nothing is inlined). GCC
// clients therefore instantiate the inline members themselves and import the
// out-of-line members and static data through the class-level dllimport.
#pragma once

#if defined(_WIN32)
#  if defined(QORCOR14_BUILDING)
#    define QORCOR14_API __declspec(dllexport)
#  else
#    define QORCOR14_API __declspec(dllimport)
#  endif
#else
#  define QORCOR14_API
#endif

#if defined(_MSC_VER) || defined(QORCOR14_BUILDING)
#  define QORCOR14_EXTERN_TEMPLATE(...) extern template class __VA_ARGS__;
#else
#  define QORCOR14_EXTERN_TEMPLATE(...)
#endif
