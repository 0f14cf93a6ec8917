// qorcor14/config.h - the export macro and the rules every exported template
// of the public headers follows.
//
// QORCOR14_API marks what the DLL exports: dllexport while the library itself
// is compiled (the build defines QORCOR14_BUILDING), dllimport for clients.
//
// Exported templates. A class template that the DLL exports is explicitly
// instantiated in the library (`template class X<2>;` in its .cpp) for the
// listed arguments only, and the header declares each instantiation with
// QORCOR14_EXTERN_TEMPLATE(X<2>). Clang and MSVC compile every member of an
// exported explicit instantiation, even one whose `requires` clause is false
// for that argument, so an exported template follows three rules:
//
//   1. Every non-template member compiles, and indexes within its arrays, for
//      every argument the template is exported for. A member that only some
//      arguments have lives in a small base that is explicitly specialised
//      for those arguments and exported on its own (QOR::internal::VectorExtras<2>
//      gives Vector<2> its theta()); an inline one may instead be a
//      constrained member template (`template <int M = N> requires(M == 2)`),
//      which no explicit instantiation instantiates.
//   2. A member whose signature depends on the argument (a callback taking
//      nothing for void and a value otherwise) comes from such a specialised
//      base too, never from `if constexpr` over an ill-formed alternative.
//   3. A static data member that inline code reads is declared in the header
//      with QORCOR14_EXTERN_TEMPLATE_DATA(type X<2>::m_name), so that clients
//      of either compiler know the DLL defines it and import it.
//
// Note: MinGW GCC does not export the inline members of an exported explicit
// instantiation, so a GCC client that saw the extern declaration would be left
// with unresolved references to them (at -O0, where nothing is inlined). GCC
// and clang clients on MinGW therefore instantiate the inline members
// themselves and import the out-of-line members and static data through the
// class-level dllimport.
#pragma once

#if defined(_WIN32)
#if defined(QORCOR14_BUILDING)
#define QORCOR14_API __declspec(dllexport)
#else
#define QORCOR14_API __declspec(dllimport)
#endif
#else
#define QORCOR14_API
#endif

#if defined(_MSC_VER) || defined(QORCOR14_BUILDING)
#define QORCOR14_EXTERN_TEMPLATE(...) extern template class __VA_ARGS__;
#else
#define QORCOR14_EXTERN_TEMPLATE(...)
#endif

// Declares that the DLL instantiates a static data member of an exported
// template: QORCOR14_EXTERN_TEMPLATE_DATA(const Point<2> Point<2>::m_origin).
#define QORCOR14_EXTERN_TEMPLATE_DATA(...) extern template __VA_ARGS__;
