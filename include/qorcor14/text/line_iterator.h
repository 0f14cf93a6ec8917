// qorcor14/text/line_iterator.h - walks the lines of a text held in memory
// without copying it: an iterator denotes one line as a pair of positions, and
// dereferencing it makes that line's string.
//
// Only carriage return (0x0D) and line feed (0x0A) separate lines here. A run
// of carriage returns with at most one line feed after it is one break (CR LF,
// CR CR LF and a lone CR each end one line); LF LF is two breaks. Form feed,
// U+0085, U+2028 and U+2029 are ordinary characters to this iterator.
#pragma once

#include <qorcor14/config.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>

namespace QOR::internal {
// Steps a pointer-form line iterator backwards; defined inside the library.
struct TextLineStepBack;
}  // namespace QOR::internal

// The lines of the text [b, e), forwards; the pointer forms also backwards
// (see the free operator-- below). It is one of const char*, const wchar_t*,
// std::string::const_iterator and std::wstring::const_iterator; the library
// provides exactly these four.
//
// Example:
//   const std::wstring text = L"one\r\ntwo\n\nfour";
//   using Lines = TextLineIterator<std::wstring::const_iterator>;
//   for (auto i = Lines::begin(text.begin(), text.end()),
//             e = Lines::end(text.begin(), text.end()); i != e; ++i)
//     show(*i);  // "one", "two", "", "four"
//
// Note: an empty text has exactly one, empty, line; a break at the very end of
// the text does not start an extra empty line, while two breaks in a row
// enclose an empty one. The text must outlive its iterators and stay
// unchanged while they are in use.
template <class It>
class QORCOR14_API TextLineIterator {
public:
  using CharType = std::remove_cvref_t<std::iter_reference_t<It>>;
  using StringType = std::basic_string<CharType>;

  using iterator_category = std::input_iterator_tag;
  using value_type = StringType;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using reference = StringType;

  // The first position from p that is end or holds CR or LF.
  [[nodiscard]] static It findEOL(It p, const It& end);
  // From p, skips any number of CRs and then at most one LF.
  [[nodiscard]] static It skipEOL(It p, const It& end);
  // Going back from p: the position just after the nearest preceding CR or
  // LF, or begin when there is none.
  [[nodiscard]] static It backFindEOL(It p, const It& begin);
  // Steps back over one LF directly before p, if there is one, and then over
  // any number of CRs; never before begin.
  [[nodiscard]] static It backSkipEOL(It p, const It& begin);

  // The first line of [b, e) (empty when b == e).
  [[nodiscard]] static TextLineIterator begin(const It& b, const It& e);
  // Past the last line of [b, e).
  [[nodiscard]] static TextLineIterator end(const It& b, const It& e);

  // All positions default, not at the end; only assignable and comparable.
  TextLineIterator();

  // The next line; the end after the last one.
  TextLineIterator& operator++();
  TextLineIterator operator++(int);

  // The current line without its break, as a new string.
  [[nodiscard]] StringType operator*() const;

  // Where the current line starts and where its break (or the text) starts.
  [[nodiscard]] const It& lineBegin() const { return m_lineBegin; }
  [[nodiscard]] const It& lineEnd() const { return m_lineEnd; }

  // Equal when both are at the end or neither is, and their lines start at
  // the same position.
  [[nodiscard]] bool operator==(const TextLineIterator& other) const { return eq(other); }

private:
  friend struct QOR::internal::TextLineStepBack;

  [[nodiscard]] bool eq(const TextLineIterator& other) const;

  It m_textBegin;
  It m_lineBegin;
  It m_lineEnd;
  It m_textEnd;
  bool m_atEnd;
};

QORCOR14_EXTERN_TEMPLATE(TextLineIterator<const char*>)
QORCOR14_EXTERN_TEMPLATE(TextLineIterator<const wchar_t*>)
QORCOR14_EXTERN_TEMPLATE(TextLineIterator<std::string::const_iterator>)
QORCOR14_EXTERN_TEMPLATE(TextLineIterator<std::wstring::const_iterator>)

// Steps back to the previous line (pointer forms only): the line before the
// current one, skipping one break; from end, the last line, so a break at the
// very end of the text is skipped as going forwards does. The postfix forms
// return the iterator as it was.
//
// Example:
//   const char text[] = "a\r\nb\r\n";
//   auto i = TextLineIterator<const char*>::end(text, text + 6);
//   --i;  // *i == "b"
//
// Note: stepping back from the first line stays at the start of the text: the
// iterator then compares equal to begin but denotes an empty line.
QORCOR14_API TextLineIterator<const char*>& operator--(TextLineIterator<const char*>& i);
QORCOR14_API TextLineIterator<const wchar_t*>& operator--(TextLineIterator<const wchar_t*>& i);
QORCOR14_API TextLineIterator<const char*> operator--(TextLineIterator<const char*>& i, int);
QORCOR14_API TextLineIterator<const wchar_t*> operator--(TextLineIterator<const wchar_t*>& i, int);
