// The chunk management of CollectionBase.
#include <qorcor14/object/collection.h>

#include <algorithm>

namespace QOR {

CollectionBase::~CollectionBase() {
  // Slots past the elements are null, except one a failed push filled.
  for (std::size_t k = 1; k < m_capacity; ++k) ::operator delete(m_chunks[k]);
  if (m_chunks != &m_inlineChunk) delete[] m_chunks;
}

void CollectionBase::addChunk(std::size_t k) {
  if (k == m_capacity) {
    // 1 -> 11 -> 26 -> 49 ...
    const std::size_t capacity = m_capacity * 3 / 2 + 10;
    unsigned char** table = new unsigned char*[capacity];
    std::copy(m_chunks, m_chunks + m_capacity, table);
    std::fill(table + m_capacity, table + capacity, nullptr);
    if (m_chunks != &m_inlineChunk) delete[] m_chunks;
    m_chunks = table;
    m_capacity = capacity;
  }
  if (k == 0) {
    m_chunks[0] = m_inlineChunk;
  } else if (!m_chunks[k]) {
    // A chunk is still there when the push that made it failed to construct.
    m_chunks[k] = static_cast<unsigned char*>(::operator new(m_chunkLength* m_elementSize));
  }
}

void CollectionBase::freeChunk(std::size_t k) noexcept {
  ::operator delete(m_chunks[k]);
  m_chunks[k] = nullptr;
}

void CollectionBase::rawShrink(std::size_t n, Destroy destroy) {
  if (m_size <= n) return;
  if (!destroy) {
    // Nothing to run per element: drop whole chunks at a time.
    while (m_size > n) {
      const std::size_t k = (m_size - 1) / m_chunkLength, chunkStart = k * m_chunkLength;
      m_size = n > chunkStart ? n : chunkStart;
      if (m_size == chunkStart && k != 0) freeChunk(k);
    }
    return;
  }
  // Walk back from the last element by chunk and offset, without dividing
  // for every element.
  std::size_t k = (m_size - 1) / m_chunkLength, offset = (m_size - 1) % m_chunkLength;
  for (;;) {
    (this->*destroy)(m_chunks[k] + offset * m_elementSize);
    --m_size;
    if (offset == 0 && k != 0) freeChunk(k);  // that was the first element of a heap chunk
    if (m_size <= n) return;
    if (offset == 0) {
      --k;
      offset = m_chunkLength - 1;
    } else {
      --offset;
    }
  }
}

void CollectionBase::rawResize(std::size_t n, const void* value, Destroy destroy, Copy copy) {
  rawShrink(n, destroy);
  while (m_size < n) {
    (this->*copy)(rawPush(), value);
    ++m_size;
  }
}

void CollectionBase::rawInit(const CollectionBase& other, Copy copy) {
  for (std::size_t i = 0; i < other.m_size; ++i) {
    (this->*copy)(rawPush(), other.rawIndex(i));
    ++m_size;
  }
}

void CollectionBase::rawAssign(const CollectionBase& other, Destroy destroy, Copy copy) {
  if (this == &other) return;
  rawShrink(0, destroy);
  rawInit(other, copy);
}

void CollectionBase::rawSwap(CollectionBase& other, Destroy destroy, Copy copy, Swap swap) {
  if (this == &other) return;
  // Only the first chunks hold elements in place; heap chunks move with the
  // tables. `big` is the one with more elements in its first chunk.
  CollectionBase* big = this;
  CollectionBase* small = &other;
  if (big->firstChunkCount() < small->firstChunkCount()) std::swap(big, small);
  const std::size_t bigSize = big->m_size, smallSize = small->m_size;
  const std::size_t common = small->firstChunkCount(), bigCount = big->firstChunkCount();
  const auto at = [this](const CollectionBase* c, std::size_t i) { return c->m_inlineChunk + i * m_elementSize; };

  for (std::size_t i = 0; i < common; ++i) (this->*swap)(at(big, i), at(small, i));
  // Here `small` holds less than one chunk, so it has no heap chunks and its
  // first chunk has room. A copy that throws leaves it with the copies made
  // so far, counted, and `big` as it was beyond the common part.
  for (std::size_t i = common; i < bigCount; ++i) {
    (this->*copy)(at(small, i), at(big, i));
    ++small->m_size;
  }
  if (destroy)
    for (std::size_t i = bigCount; i-- > common;) (this->*destroy)(at(big, i));

  big->m_size = smallSize;
  small->m_size = bigSize;
  // Exchange the tables; an inline table stays with its owner, which is
  // right, since the side that had it had no heap chunks to pass on.
  const bool bigInline = big->m_chunks == &big->m_inlineChunk;
  const bool smallInline = small->m_chunks == &small->m_inlineChunk;
  unsigned char** const bigTable = big->m_chunks;
  big->m_chunks = smallInline ? &big->m_inlineChunk : small->m_chunks;
  small->m_chunks = bigInline ? &small->m_inlineChunk : bigTable;
  std::swap(big->m_capacity, small->m_capacity);
  big->m_chunks[0] = big->m_inlineChunk;
  small->m_chunks[0] = small->m_inlineChunk;
}

}  // namespace QOR
