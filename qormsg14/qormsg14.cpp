// The English message catalogue.
//
// Every text is a printf template for qorcor14's wide formatting, which
// follows the legacy wide rules: %s takes a wide string, %hs a narrow one. A
// template must take exactly the arguments its call sites pass, in their
// order, or formatting reads arguments that are not there. qorcor14 formats
// each through one function of its common/messages.h, whose parameters are
// these arguments:
//
//   218  UUID text rejected; the rejected text (wide).
//   248  a text reader meets bytes its encoding cannot decode; the source
//        name (wide). Both reader sites pass the same one argument.
//   249-253  a raw file operation failed; the file name (wide), then the C
//        runtime's strerror text (narrow).
//   254  a text writer meets a character its encoding cannot hold; the
//        character as "U+XXXX" (wide), then the destination name (wide).
//   271  a colour profile's display name; its description (wide).
//   278  a URL cannot be unescaped, canonicalised or cleaned up; the URL
//        (wide), the one argument those sites have in hand.
//   280  a URL cannot be downloaded to the cache; the URL (wide).
//   282  a colour profile's full name; manufacturer, model and profile
//        descriptions (all wide).
#include "qormsg.h"

#include <string>

namespace {

struct Message {
  unsigned int number;
  const wchar_t* text;
};

constexpr Message catalogue[] = {
    {218, L"\"%s\" is not a valid UUID."},
    {248, L"\"%s\" contains text that is not valid in the file's encoding."},
    {249, L"Cannot open \"%s\" for reading: %hs"},
    {250, L"Cannot create or open \"%s\" for writing: %hs"},
    {251, L"Cannot read from or move within \"%s\": %hs"},
    {252, L"Cannot write to \"%s\": %hs"},
    {253, L"Cannot close \"%s\": %hs"},
    {254, L"The character %s cannot be written to \"%s\" in its encoding."},
    {271, L"Colour profile \"%s\""},
    {278, L"\"%s\" is not a valid URL."},
    {280, L"Cannot download \"%s\" to the cache."},
    {282, L"%s %s, colour profile \"%s\""},
};

}  // namespace

// An unknown number gets a text without any conversion, so that it formats
// safely whatever arguments its caller passes.
std::wstring qorMsg(unsigned int number) {
  for (const Message& m : catalogue)
    if (m.number == number) return m.text;
  return L"Message " + std::to_wstring(number) + L" is missing from the catalogue.";
}
