// The size-class cache behind the transforms' operator new and delete.
#include "transform/internal/block_cache.h"

#include <atomic>
#include <new>
#include <thread>

namespace {

constexpr std::size_t kGrain = 16;
constexpr std::size_t kClasses = 12;  // blocks of 16 … 192 bytes
constexpr unsigned kKeep = 64;

struct FreeBlock {
  FreeBlock* next;
};

struct SizeClass {
  std::atomic_flag busy;
  FreeBlock* head = nullptr;
  unsigned count = 0;
};

class Cache {
public:
  constexpr Cache() = default;
  Cache(const Cache&) = delete;
  Cache& operator=(const Cache&) = delete;
  // At unload the kept blocks go back to the heap; a transform deleted later
  // still (by another module's static destructor) goes there directly.
  ~Cache() {
    m_open.store(false, std::memory_order_release);
    for (SizeClass& c : m_classes) {
      for (FreeBlock* b = c.head; b != nullptr;) {
        FreeBlock* next = b->next;
        ::operator delete(b);
        b = next;
      }
      c.head = nullptr;
    }
  }

  // The class index for size, or kClasses when the size is not cached.
  static std::size_t classOf(std::size_t size) {
    return size == 0 || size > kGrain * kClasses ? kClasses : (size - 1) / kGrain;
  }

  void* take(std::size_t c) {
    if (m_open.load(std::memory_order_acquire)) {
      Lock lock(m_classes[c]);
      if (FreeBlock* b = m_classes[c].head) {
        m_classes[c].head = b->next;
        --m_classes[c].count;
        return b;
      }
    }
    return ::operator new((c + 1) * kGrain);
  }

  void give(void* block, std::size_t c) noexcept {
    if (m_open.load(std::memory_order_acquire)) {
      Lock lock(m_classes[c]);
      if (m_classes[c].count < kKeep) {
        m_classes[c].head = new (block) FreeBlock{m_classes[c].head};
        ++m_classes[c].count;
        return;
      }
    }
    ::operator delete(block);
  }

private:
  class Lock {
  public:
    explicit Lock(SizeClass& c) : m_flag(c.busy) {
      while (m_flag.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() { m_flag.clear(std::memory_order_release); }

  private:
    std::atomic_flag& m_flag;
  };

  std::atomic<bool> m_open{true};
  SizeClass m_classes[kClasses];
};

constinit Cache g_cache;

}  // namespace

void* QOR::internal::allocateTransformBlock(std::size_t size) {
  const std::size_t c = Cache::classOf(size);
  return c == kClasses ? ::operator new(size) : g_cache.take(c);
}

void QOR::internal::releaseTransformBlock(void* block, std::size_t size) noexcept {
  if (block == nullptr) return;
  const std::size_t c = Cache::classOf(size);
  if (c == kClasses) {
    ::operator delete(block);
    return;
  }
  g_cache.give(block, c);
}
