// qorcor14/object/collection.h - chunked sequence containers: the untyped
// engine QOR::CollectionBase and the typed QOR::Collection<T, ChunkLength>.
//
// Elements are stored in chunks of a fixed number of elements, so they never
// move once constructed: addresses stay valid while the collection grows. The
// first chunk lives inside the collection object; later chunks are heap
// blocks, one per ChunkLength elements.
#pragma once

#include <qorcor14/config.h>

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

namespace QOR {

// The index arithmetic and chunk management of the typed collections. A
// derived template supplies the first chunk's storage and, as member-function
// pointers, the operations that destroy, copy-construct and swap its
// elements; the base never looks inside an element.
//
// Note: sizes change one element at a time, after each construction or
// destruction, so an element operation that throws leaves exactly the
// constructed elements counted.
// Note: max_size() is 4294967295 on purpose, although sizes are 64-bit.
class QORCOR14_API CollectionBase {
public:
  using Destroy = void (CollectionBase::*)(void* element);
  using Copy = void (CollectionBase::*)(void* to, const void* from);
  using Swap = void (CollectionBase::*)(void* a, void* b);

  CollectionBase(const CollectionBase&) = delete;

  [[nodiscard]] std::size_t size() const noexcept { return m_size; }
  [[nodiscard]] bool empty() const noexcept { return m_size == 0; }
  [[nodiscard]] std::size_t max_size() const noexcept { return 4294967295u; }

protected:
  // Empty; the chunk table is the inline slot holding firstChunk, which must
  // hold chunkLength elements of elementSize bytes.
  CollectionBase(std::size_t chunkLength, std::size_t elementSize, unsigned char* firstChunk) noexcept
      : m_size(0), m_chunks(&m_inlineChunk), m_capacity(1), m_chunkLength(chunkLength), m_elementSize(elementSize),
        m_inlineChunk(firstChunk) {}
  // Frees the chunk table (and a chunk left by a push whose construction
  // threw). Neither destroys elements nor frees their chunks: the derived
  // destructor calls rawShrink(0, destroy) first.
  ~CollectionBase();
  // Does nothing: the derived class assigns the elements.
  CollectionBase& operator=(const CollectionBase&) noexcept { return *this; }

  [[nodiscard]] unsigned char** rawChunks() const noexcept { return m_chunks; }
  // Addresses of elements; no bounds checks.
  [[nodiscard]] void* rawIndex(std::size_t i) const noexcept {
    return m_chunks[i / m_chunkLength] + m_elementSize * (i % m_chunkLength);
  }
  [[nodiscard]] void* rawFront() const noexcept { return m_chunks[0]; }
  [[nodiscard]] void* rawBack() const noexcept { return rawIndex(m_size - 1); }

  // Room for one more element at index size(); adds a chunk when size() is a
  // multiple of the chunk length. The size is left alone: the caller
  // constructs the element there, then calls rawGrown().
  [[nodiscard]] void* rawPush() {
    if (m_size % m_chunkLength == 0) addChunk(m_size / m_chunkLength);
    return rawIndex(m_size);
  }
  // Counts the element just constructed at the address rawPush returned.
  void rawGrown() noexcept { ++m_size; }

  // Destroys elements from the back down to n, freeing each heap chunk that
  // empties. The chunk table keeps its capacity. A null destroy skips the
  // element destruction (for types that need none); so do rawResize,
  // rawAssign and rawSwap.
  void rawShrink(std::size_t n, Destroy destroy);
  // rawShrink(n), then copy-constructs `value` at the back up to n elements.
  void rawResize(std::size_t n, const void* value, Destroy destroy, Copy copy);
  // Copy-constructs every element of other, in order, into this empty
  // collection.
  void rawInit(const CollectionBase& other, Copy copy);
  // Replaces the contents with copies of other's elements (all destroyed
  // first; if a copy throws, the copies made so far remain).
  void rawAssign(const CollectionBase& other, Destroy destroy, Copy copy);
  // Exchanges the contents: heap chunks by pointer, the elements of the two
  // first chunks with swap (the common part) and copy and destroy (the rest).
  // Both collections must have the same element type and chunk length.
  void rawSwap(CollectionBase& other, Destroy destroy, Copy copy, Swap swap);

private:
  // Makes chunk k exist: grows the table when k is its capacity, then puts
  // the first chunk (k = 0) or a heap block in slot k.
  void addChunk(std::size_t k);
  // Frees heap chunk k (k > 0) and clears its slot.
  void freeChunk(std::size_t k) noexcept;
  // The elements held in the first chunk.
  [[nodiscard]] std::size_t firstChunkCount() const noexcept { return m_size < m_chunkLength ? m_size : m_chunkLength; }

  std::size_t m_size;
  unsigned char** m_chunks;
  std::size_t m_capacity;
  std::size_t m_chunkLength;
  std::size_t m_elementSize;
  // The initial one-slot table; always the first chunk's address.
  unsigned char* m_inlineChunk;
};

// A sequence of T in chunks of ChunkLength elements, the first inside the
// object. Elements never move: pointers and references to them stay valid
// until the element itself is removed.
//
// Example:
//   QOR::Collection<std::wstring> names;
//   names.push_back(L"arc");
//   std::wstring* first = &names[0];
//   for (int i = 0; i < 1000; ++i) names.push_back(L"more");
//   first == &names[0];            // true: nothing moved
//   for (const std::wstring& n : names) ...
//
// Note: T's alignment may not exceed what operator new guarantees.
template <class T, std::size_t ChunkLength = 16>
class Collection : public CollectionBase {
  static_assert(ChunkLength > 0, "a chunk holds at least one element");
  static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "heap chunks are only new-aligned");

public:
  using value_type = T;
  using size_type = std::size_t;
  using reference = T&;
  using const_reference = const T&;

  template <class Owner, class Value>
  class Iterator {
  public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = Value*;
    using reference = Value&;

    Iterator() = default;
    Iterator(Owner* c, std::size_t i) : m_c(c), m_i(i) {}
    reference operator*() const { return (*m_c)[m_i]; }
    pointer operator->() const { return &(*m_c)[m_i]; }
    reference operator[](difference_type n) const { return (*m_c)[m_i + n]; }
    Iterator& operator++() {
      ++m_i;
      return *this;
    }
    Iterator operator++(int) {
      Iterator t = *this;
      ++m_i;
      return t;
    }
    Iterator& operator--() {
      --m_i;
      return *this;
    }
    Iterator operator--(int) {
      Iterator t = *this;
      --m_i;
      return t;
    }
    Iterator& operator+=(difference_type n) {
      m_i += n;
      return *this;
    }
    Iterator& operator-=(difference_type n) {
      m_i -= n;
      return *this;
    }
    friend Iterator operator+(Iterator a, difference_type n) { return a += n; }
    friend Iterator operator+(difference_type n, Iterator a) { return a += n; }
    friend Iterator operator-(Iterator a, difference_type n) { return a -= n; }
    friend difference_type operator-(const Iterator& a, const Iterator& b) {
      return static_cast<difference_type>(a.m_i) - static_cast<difference_type>(b.m_i);
    }
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.m_i == b.m_i; }
    friend auto operator<=>(const Iterator& a, const Iterator& b) { return a.m_i <=> b.m_i; }

  private:
    Owner* m_c = nullptr;
    std::size_t m_i = 0;
  };
  using iterator = Iterator<Collection, T>;
  using const_iterator = Iterator<const Collection, const T>;

  Collection() noexcept : CollectionBase(ChunkLength, sizeof(T), m_first) {}
  // Both delegate, so that a copy that throws runs the destructor, which
  // destroys the elements already made.
  Collection(std::initializer_list<T> items) : Collection() {
    for (const T& item : items) push_back(item);
  }
  Collection(const Collection& other) : Collection() { rawInit(other, copyOp()); }
  Collection& operator=(const Collection& other) {
    if (this != &other) rawAssign(other, destroyOp(), copyOp());
    return *this;
  }
  ~Collection() { clear(); }

  // The index arithmetic is the base's, with the chunk length known here.
  T& operator[](std::size_t i) noexcept { return *at(i); }
  const T& operator[](std::size_t i) const noexcept { return *at(i); }
  T& front() noexcept { return *static_cast<T*>(rawFront()); }
  const T& front() const noexcept { return *static_cast<const T*>(rawFront()); }
  T& back() noexcept { return *at(size() - 1); }
  const T& back() const noexcept { return *at(size() - 1); }

  iterator begin() noexcept { return iterator(this, 0); }
  iterator end() noexcept { return iterator(this, size()); }
  const_iterator begin() const noexcept { return const_iterator(this, 0); }
  const_iterator end() const noexcept { return const_iterator(this, size()); }

  // Constructs a T from args at the back. If the constructor throws, the
  // collection is unchanged.
  template <class... Args>
  T& emplace_back(Args&&... args) {
    T* p = ::new (slotAtBack()) T(std::forward<Args>(args)...);
    rawGrown();
    return *p;
  }
  void push_back(const T& value) { emplace_back(value); }
  void push_back(T&& value) { emplace_back(std::move(value)); }
  void pop_back() noexcept { rawShrink(size() - 1, destroyOp()); }

  // Destroys from the back down to n elements, or appends copies of value up
  // to n.
  void resize(std::size_t n, const T& value = T()) { rawResize(n, &value, destroyOp(), copyOp()); }
  void clear() noexcept { rawShrink(0, destroyOp()); }
  void swap(Collection& other) { rawSwap(other, destroyOp(), copyOp(), swapOp()); }

private:
  T* at(std::size_t i) const noexcept { return reinterpret_cast<T*>(rawChunks()[i / ChunkLength]) + i % ChunkLength; }
  // Where the next element goes: rawPush at a chunk boundary, which adds the
  // chunk; inside a chunk, the address directly.
  void* slotAtBack() {
    const std::size_t n = size();
    return n % ChunkLength == 0 ? rawPush() : static_cast<void*>(at(n));
  }

  void destroyElement(void* p) { static_cast<T*>(p)->~T(); }
  void copyElement(void* to, const void* from) { ::new (to) T(*static_cast<const T*>(from)); }
  void swapElements(void* a, void* b) {
    using std::swap;
    swap(*static_cast<T*>(a), *static_cast<T*>(b));
  }
  // None for elements that need no destruction: the base then only frees.
  static Destroy destroyOp() noexcept {
    if constexpr (std::is_trivially_destructible_v<T>) return nullptr;
    else return static_cast<Destroy>(&Collection::destroyElement);
  }
  static Copy copyOp() noexcept { return static_cast<Copy>(&Collection::copyElement); }
  static Swap swapOp() noexcept { return static_cast<Swap>(&Collection::swapElements); }

  alignas(T) unsigned char m_first[ChunkLength * sizeof(T)];
};

}  // namespace QOR
