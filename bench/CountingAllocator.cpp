// Counts heap allocations so that benchmarks can report allocations per evaluation.
#include <atomic>
#include <cstdlib>
#include <new>

namespace loom::bench {
std::atomic<long> gAllocations{0};
}

void* operator new(std::size_t size) {
  loom::bench::gAllocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
