#include "ltt/allocator.hpp"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Diagnose/AssertError.hpp"
#include "ltt/exception.hpp"

namespace ltt {

allocator::allocator(std::string name, allocator* parent, bool immortal) noexcept
    : m_name(std::move(name)), m_parent(parent), m_immortal(immortal) {
  if (m_parent) m_parent->addReference();
}

allocator::~allocator() {
  if (m_parent) m_parent->removeReference();
}

void* allocator::allocate(std::size_t bytes) {
  void* p = allocateNoThrow(bytes);
  if (!p) impl::throwBadAllocation(bytes);
  return p;
}

void* allocator::allocateNoThrow(std::size_t bytes) noexcept {
  if (bytes > maxBlockBytes()) return nullptr;
  void* p = do_allocate(bytes);
  if (p) {
    m_liveBytes.fetch_add(do_size(p), std::memory_order_relaxed);
    m_liveBlocks.fetch_add(1, std::memory_order_relaxed);
  }
  return p;
}

void allocator::deallocate(void* p) noexcept {
  if (!p) return;
  m_liveBytes.fetch_sub(do_size(p), std::memory_order_relaxed);
  m_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  do_deallocate(p);
}

std::size_t allocator::getBlockSize(const void* p) const noexcept { return do_size(p); }
std::size_t allocator::do_size(const void*) const noexcept { return 0; }

void allocator::removeReference() noexcept {
  if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1 && !m_immortal) delete this;
}

refcounted_handle<allocator> allocator::createChild(std::string name) {
  return refcounted_handle<allocator>(new ChildAllocator(std::move(name), *this));
}

// --- malloc-backed global allocator -------------------------------------------------------------

namespace {
constexpr std::size_t kHeader = 16;  // keeps the size and the 16-byte alignment of the payload

// Blocks this large are columns, result lists and bit vectors that are written once from end to
// end; filling them a 4 KiB page at a time costs more in faults than the writes themselves (on
// a virtual machine about 5 us a fault). The whole 2 MiB pages inside such a block may be backed
// by huge pages where the system leaves that to the program; pages never touched stay unbacked.
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kHugeAdviceFrom = 2 * kHugePage;

void adviseHugePages(void* block, std::size_t bytes) noexcept {
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t last = (begin + bytes) & ~(kHugePage - 1);
  if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}
}  // namespace

MallocAllocator::MallocAllocator() noexcept : allocator("global", nullptr, true) {}

void* MallocAllocator::do_allocate(std::size_t bytes) noexcept {
  auto* raw = static_cast<unsigned char*>(std::malloc(bytes + kHeader));
  if (!raw) return nullptr;
  if (bytes >= kHugeAdviceFrom) adviseHugePages(raw, bytes + kHeader);
  std::memcpy(raw, &bytes, sizeof bytes);
  return raw + kHeader;
}

void MallocAllocator::do_deallocate(void* p) noexcept {
  std::free(static_cast<unsigned char*>(p) - kHeader);
}

std::size_t MallocAllocator::do_size(const void* p) const noexcept {
  std::size_t bytes;
  std::memcpy(&bytes, static_cast<const unsigned char*>(p) - kHeader, sizeof bytes);
  return bytes;
}

// --- children --------------------------------------------------------------------------------

ChildAllocator::ChildAllocator(std::string name, allocator& parent, bool immortal) noexcept
    : allocator(std::move(name), &parent, immortal) {}

ChildAllocator::~ChildAllocator() = default;

void* ChildAllocator::do_allocate(std::size_t bytes) noexcept {
  return parent()->allocateNoThrow(bytes);
}
void ChildAllocator::do_deallocate(void* p) noexcept { parent()->deallocate(p); }
std::size_t ChildAllocator::do_size(const void* p) const noexcept {
  return parent()->getBlockSize(p);
}
std::size_t ChildAllocator::getBlockSize(const void* p) const noexcept { return do_size(p); }

// --- statics ---------------------------------------------------------------------------------

namespace {
class NullAllocator final : public allocator {
 public:
  NullAllocator() noexcept : allocator("null", nullptr, true) {}

 protected:
  void* do_allocate(std::size_t) noexcept override { return nullptr; }
  void do_deallocate(void* p) noexcept override {
    DIAG_ASSERT(p == nullptr && "deallocate on the null allocator");
  }
};
}  // namespace

// Function-local statics that are never destroyed: allocators outlive every static object
// that may still free memory at exit.
allocator& allocator::global_allocator() noexcept {
  static auto* a = new MallocAllocator();
  return *a;
}
allocator& allocator::null_allocator() noexcept {
  static auto* a = new NullAllocator();
  return *a;
}
allocator& allocator::adaptor_allocator() noexcept {
  static auto* a = new ChildAllocator("adaptor", global_allocator(), true);
  return *a;
}

}  // namespace ltt
