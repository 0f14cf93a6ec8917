// TextLineIterator: the line walk over a text in memory, for its four position
// types, and the backward step of the two pointer forms.
#include <qorcor14/text/line_iterator.h>

namespace {

template <class C>
constexpr bool isBreak(C c) {
  return c == C('\r') || c == C('\n');
}

}  // namespace

template <class It>
It TextLineIterator<It>::findEOL(It p, const It& end) {
  while (p != end && !isBreak(*p)) ++p;
  return p;
}

template <class It>
It TextLineIterator<It>::skipEOL(It p, const It& end) {
  while (p != end && *p == CharType('\r')) ++p;
  if (p != end && *p == CharType('\n')) ++p;
  return p;
}

template <class It>
It TextLineIterator<It>::backFindEOL(It p, const It& begin) {
  while (p != begin) {
    It before = p;
    --before;
    if (isBreak(*before)) return p;
    p = before;
  }
  return p;
}

template <class It>
It TextLineIterator<It>::backSkipEOL(It p, const It& begin) {
  if (p != begin && *std::prev(p) == CharType('\n')) --p;
  while (p != begin && *std::prev(p) == CharType('\r')) --p;
  return p;
}

template <class It>
TextLineIterator<It> TextLineIterator<It>::begin(const It& b, const It& e) {
  TextLineIterator i;
  i.m_textBegin = b;
  i.m_lineBegin = b;
  i.m_lineEnd = findEOL(b, e);
  i.m_textEnd = e;
  i.m_atEnd = false;
  return i;
}

template <class It>
TextLineIterator<It> TextLineIterator<It>::end(const It& b, const It& e) {
  TextLineIterator i;
  i.m_textBegin = b;
  i.m_lineBegin = e;
  i.m_lineEnd = e;
  i.m_textEnd = e;
  i.m_atEnd = true;
  return i;
}

template <class It>
TextLineIterator<It>::TextLineIterator() : m_textBegin(), m_lineBegin(), m_lineEnd(), m_textEnd(), m_atEnd(false) {}

template <class It>
TextLineIterator<It>& TextLineIterator<It>::operator++() {
  const It p = skipEOL(m_lineEnd, m_textEnd);
  m_lineBegin = p;
  if (p == m_textEnd) {
    m_lineEnd = p;
    m_atEnd = true;
  } else {
    m_lineEnd = findEOL(p, m_textEnd);
  }
  return *this;
}

template <class It>
TextLineIterator<It> TextLineIterator<It>::operator++(int) {
  TextLineIterator before = *this;
  ++*this;
  return before;
}

template <class It>
typename TextLineIterator<It>::StringType TextLineIterator<It>::operator*() const {
  return StringType(m_lineBegin, m_lineEnd);
}

template <class It>
bool TextLineIterator<It>::eq(const TextLineIterator& other) const {
  return m_atEnd == other.m_atEnd && m_lineBegin == other.m_lineBegin;
}

template class TextLineIterator<const char*>;
template class TextLineIterator<const wchar_t*>;
template class TextLineIterator<std::string::const_iterator>;
template class TextLineIterator<std::wstring::const_iterator>;

namespace QOR::internal {

struct TextLineStepBack {
  template <class C>
  static void step(TextLineIterator<const C*>& i) {
    using Lines = TextLineIterator<const C*>;
    i.m_lineEnd = Lines::backSkipEOL(i.m_lineBegin, i.m_textBegin);
    i.m_lineBegin = Lines::backFindEOL(i.m_lineEnd, i.m_textBegin);
    i.m_atEnd = false;
  }
};

}  // namespace QOR::internal

TextLineIterator<const char*>& operator--(TextLineIterator<const char*>& i) {
  QOR::internal::TextLineStepBack::step(i);
  return i;
}

TextLineIterator<const wchar_t*>& operator--(TextLineIterator<const wchar_t*>& i) {
  QOR::internal::TextLineStepBack::step(i);
  return i;
}

TextLineIterator<const char*> operator--(TextLineIterator<const char*>& i, int) {
  TextLineIterator<const char*> before = i;
  QOR::internal::TextLineStepBack::step(i);
  return before;
}

TextLineIterator<const wchar_t*> operator--(TextLineIterator<const wchar_t*>& i, int) {
  TextLineIterator<const wchar_t*> before = i;
  QOR::internal::TextLineStepBack::step(i);
  return before;
}
