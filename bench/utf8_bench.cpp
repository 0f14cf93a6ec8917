// utf8() in both directions against MultiByteToWideChar / WideCharToMultiByte
// with CP_UTF8 on the same text, and a memcpy of the result as the ceiling.
//
// Both sides produce a std::wstring / std::string. The peer calls the system
// once into an output sized to the upper bound (one unit per byte, three
// bytes per unit), its quickest way; ours counts the exact length first and
// allocates that.
#include "harness.h"

#include <qorcor14/text/strings.h>

#include <windows.h>

#include <cstring>
#include <memory>
#include <random>

namespace bench {
namespace {

// About 3 M units per text, and a 32 K-unit slice of each that stays in the
// cache, whose rows show the conversion itself rather than the page faults of
// fresh multi-megabyte output strings.
constexpr std::size_t kTextUnits = std::size_t(3) << 20;
constexpr std::size_t kSliceUnits = std::size_t(32) << 10;

struct Text {
  std::wstring wide;
  std::string bytes;
};

std::string toUtf8(const std::wstring& w) {
  const int n = WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0, nullptr, nullptr);
  std::string s(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), s.data(), n, nullptr, nullptr);
  return s;
}

void appendCodePoint(std::wstring& s, unsigned v) {
  if (v < 0x10000) {
    s.push_back(static_cast<wchar_t>(v));
  } else {
    s.push_back(static_cast<wchar_t>(0xD800 | ((v - 0x10000) >> 10)));
    s.push_back(static_cast<wchar_t>(0xDC00 | ((v - 0x10000) & 0x3FF)));
  }
}

// English-like prose: words, spaces, punctuation and line breaks.
std::shared_ptr<Text> asciiText() {
  static const wchar_t* words[] = {L"the", L"arc", L"of",     L"a",   L"circle", L"is",     L"given",     L"by",
                                   L"its", L"end", L"points", L"and", L"bulge",  L"matrix", L"transform", L"vector"};
  std::mt19937 rng(1);
  auto t = std::make_shared<Text>();
  while (t->wide.size() < kTextUnits) {
    t->wide += words[rng() % 16];
    const unsigned r = rng() % 20;
    t->wide += r == 0 ? L".\r\n" : r == 1 ? L", " : L" ";
  }
  t->bytes = toUtf8(t->wide);
  return t;
}

// Alternating Latin sentences with accented letters and CJK sentences.
std::shared_ptr<Text> latinCjkText() {
  static const wchar_t* latin[] = {L"caf\u00e9", L"\u00fcber",   L"na\u00efve", L"Stra\u00dfe", L"d\u00e9j\u00e0",
                                   L"vu",        L"fa\u00e7ade", L"and",        L"the",         L"r\u00e9sum\u00e9"};
  std::mt19937 rng(2);
  auto t = std::make_shared<Text>();
  while (t->wide.size() < kTextUnits) {
    const unsigned words = 3 + rng() % 8;
    for (unsigned i = 0; i < words; ++i) {
      t->wide += latin[rng() % 10];
      t->wide += L' ';
    }
    const unsigned han = 5 + rng() % 20;
    for (unsigned i = 0; i < han; ++i) appendCodePoint(t->wide, 0x4E00 + rng() % 0x5000);
    t->wide += L"\u3002";
  }
  t->bytes = toUtf8(t->wide);
  return t;
}

// Mostly emoji (four-byte sequences, surrogate pairs) with short words.
std::shared_ptr<Text> emojiText() {
  std::mt19937 rng(3);
  auto t = std::make_shared<Text>();
  while (t->wide.size() < kTextUnits) {
    const unsigned run = 1 + rng() % 6;
    for (unsigned i = 0; i < run; ++i) appendCodePoint(t->wide, 0x1F300 + rng() % 0x350);
    t->wide += rng() % 3 ? L" " : L" ok ";
  }
  t->bytes = toUtf8(t->wide);
  return t;
}

// The peer of every decode row: the system into an output of one unit per
// byte, trimmed to what it wrote.
Body peerDecode(std::shared_ptr<Text> t) {
  return [t](std::size_t ops) {
    const int n = static_cast<int>(t->bytes.size());
    for (std::size_t i = 0; i < ops; ++i) {
      std::wstring r(t->bytes.size(), L'\0');
      const int k = MultiByteToWideChar(CP_UTF8, 0, t->bytes.data(), n, r.data(), n);
      r.resize(static_cast<std::size_t>(k));
      doNotOptimize(r);
    }
    return ops;
  };
}

void addDecode(Suite& suite, const char* name, std::shared_ptr<Text> t) {
  suite.add({name, "text",
             [t](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(utf8(t->bytes));
               return ops;
             },
             "MultiByteToWideChar", peerDecode(t), static_cast<double>(t->bytes.size())});
}

void addEncode(Suite& suite, const char* name, std::shared_ptr<Text> t) {
  suite.add({name, "text",
             [t](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(utf8(t->wide));
               return ops;
             },
             "WideCharToMultiByte",
             [t](std::size_t ops) {
               const int n = static_cast<int>(t->wide.size());
               for (std::size_t i = 0; i < ops; ++i) {
                 std::string r(3 * t->wide.size(), '\0');
                 const int k = WideCharToMultiByte(CP_UTF8, 0, t->wide.data(), n, r.data(), 3 * n, nullptr, nullptr);
                 r.resize(static_cast<std::size_t>(k));
                 doNotOptimize(r);
               }
               return ops;
             },
             static_cast<double>(t->wide.size() * sizeof(wchar_t))});
}

// The floor of a decode row: the output ours allocates, at the exact decoded
// length, and nothing written into it. Its ratio is the best a decoder that
// allocates and zero-fills its output so can reach against the peer.
void addDecodeFloor(Suite& suite, const char* name, std::shared_ptr<Text> t) {
  suite.add({name, "text",
             [t](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 std::wstring r(t->wide.size(), L'\0');
                 doNotOptimize(r);
               }
               return ops;
             },
             "MultiByteToWideChar", peerDecode(t), static_cast<double>(t->bytes.size())});
}

// The ceiling: a string the size of the result, filled by memcpy.
template <class Out, class In>
Body copyInto(std::shared_ptr<Text> t, const In Text::*from) {
  return [t, from](std::size_t ops) {
    const In& src = (*t).*from;
    for (std::size_t i = 0; i < ops; ++i) {
      Out r(src.size(), typename Out::value_type());
      std::memcpy(r.data(), src.data(), src.size() * sizeof(typename In::value_type));
      doNotOptimize(r);
    }
    return ops;
  };
}

// The first `units` units of t (not splitting a pair), and their bytes.
std::shared_ptr<Text> slice(const std::shared_ptr<Text>& t, std::size_t units) {
  auto s = std::make_shared<Text>();
  if ((t->wide[units - 1] & 0xFC00) == 0xD800) --units;
  s->wide = t->wide.substr(0, units);
  s->bytes = toUtf8(s->wide);
  return s;
}

void addSliceCases(Suite& suite, const std::shared_ptr<Text>& ascii, const std::shared_ptr<Text>& mixed,
                   const std::shared_ptr<Text>& emoji) {
  addDecode(suite, "utf8 decode ASCII 32K", slice(ascii, kSliceUnits));
  addDecode(suite, "utf8 decode Latin/CJK 32K", slice(mixed, kSliceUnits));
  addDecode(suite, "utf8 decode emoji 32K", slice(emoji, kSliceUnits));
  addEncode(suite, "utf8 encode ASCII 32K", slice(ascii, kSliceUnits));
  addEncode(suite, "utf8 encode Latin/CJK 32K", slice(mixed, kSliceUnits));
  addEncode(suite, "utf8 encode emoji 32K", slice(emoji, kSliceUnits));
}

}  // namespace

void addUtf8Cases(Suite& suite) {
  const auto ascii = asciiText(), mixed = latinCjkText(), emoji = emojiText();
  // MB/s columns count input bytes: UTF-8 when decoding, UTF-16 when encoding.
  addDecode(suite, "utf8 decode ASCII", ascii);
  addDecode(suite, "utf8 decode Latin/CJK", mixed);
  addDecode(suite, "utf8 decode emoji", emoji);
  addDecodeFloor(suite, "utf8 decode Latin/CJK: allocation floor", mixed);
  addDecodeFloor(suite, "utf8 decode emoji: allocation floor", emoji);
  suite.add({"utf8 decode ASCII: memcpy ceiling", "text", copyInto<std::wstring>(ascii, &Text::wide),
             "MultiByteToWideChar",
             [ascii](std::size_t ops) {
               const int n = static_cast<int>(ascii->bytes.size());
               for (std::size_t i = 0; i < ops; ++i) {
                 std::wstring r(ascii->bytes.size(), L'\0');
                 doNotOptimize(MultiByteToWideChar(CP_UTF8, 0, ascii->bytes.data(), n, r.data(), n));
                 doNotOptimize(r);
               }
               return ops;
             },
             static_cast<double>(ascii->bytes.size())});
  addEncode(suite, "utf8 encode ASCII", ascii);
  addEncode(suite, "utf8 encode Latin/CJK", mixed);
  addEncode(suite, "utf8 encode emoji", emoji);
  suite.add(
      {"utf8 encode ASCII: memcpy ceiling", "text", copyInto<std::string>(ascii, &Text::bytes), "WideCharToMultiByte",
       [ascii](std::size_t ops) {
         const int n = static_cast<int>(ascii->wide.size());
         for (std::size_t i = 0; i < ops; ++i) {
           std::string r(3 * ascii->wide.size(), '\0');
           doNotOptimize(WideCharToMultiByte(CP_UTF8, 0, ascii->wide.data(), n, r.data(), 3 * n, nullptr, nullptr));
           doNotOptimize(r);
         }
         return ops;
       },
       static_cast<double>(ascii->wide.size() * sizeof(wchar_t))});
  addSliceCases(suite, ascii, mixed, emoji);
}

}  // namespace bench
