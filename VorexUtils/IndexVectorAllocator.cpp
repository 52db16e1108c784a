// The allocator handles of the packed-vector groups. Each is an immortal named child of the
// global allocator, made at load: vectors in static objects may still free into it at exit,
// after the handles themselves are gone.
#include "VorexUtils/IndexVectorAllocator.hpp"

#include <atomic>

namespace VorexUtils {

namespace {
ltt::refcounted_handle<ltt::allocator> makeGroupAllocator(const char* name) {
  return ltt::refcounted_handle<ltt::allocator>(
      new ltt::ChildAllocator(name, ltt::allocator::global_allocator(), /*immortal=*/true));
}

// Test overrides, one per group; null means the group's own handle.
constinit std::atomic<ltt::allocator*> g_override[IVA_GroupCount] = {};
}  // namespace

ltt::refcounted_handle<ltt::allocator> s_SingleAllocator = makeGroupAllocator("SingleAllocator");
ltt::refcounted_handle<ltt::allocator> s_PagedAllocator = makeGroupAllocator("PagedAllocator");
ltt::refcounted_handle<ltt::allocator> s_GeometryAllocator =
    makeGroupAllocator("GeometryAllocator");
ltt::refcounted_handle<ltt::allocator> s_MultiValueAllocator =
    makeGroupAllocator("MultiValueAllocator");
ltt::refcounted_handle<ltt::allocator> s_SparseClusterAllocator =
    makeGroupAllocator("SparseClusterAllocator");
ltt::refcounted_handle<ltt::allocator> s_SparseIndirectAllocator =
    makeGroupAllocator("SparseIndirectAllocator");
ltt::refcounted_handle<ltt::allocator> s_SparseLrleAllocator =
    makeGroupAllocator("SparseLrleAllocator");
ltt::refcounted_handle<ltt::allocator> s_SparsePrefixAllocator =
    makeGroupAllocator("SparsePrefixAllocator");
ltt::refcounted_handle<ltt::allocator> s_SparseRleAllocator =
    makeGroupAllocator("SparseRleAllocator");
ltt::refcounted_handle<ltt::allocator> s_SparseSparseAllocator =
    makeGroupAllocator("SparseSparseAllocator");
ltt::refcounted_handle<ltt::allocator> s_MainSingleIndexAllocator =
    makeGroupAllocator("MainSingleIndexAllocator");
ltt::refcounted_handle<ltt::allocator> s_MainBlockIndexAllocator =
    makeGroupAllocator("MainBlockIndexAllocator");
ltt::refcounted_handle<ltt::allocator> s_MainRangedBlockIndexAllocator =
    makeGroupAllocator("MainRangedBlockIndexAllocator");
ltt::refcounted_handle<ltt::allocator> s_DeltaAllocator = makeGroupAllocator("DeltaAllocator");
ltt::refcounted_handle<ltt::allocator> s_LrleDictAllocator =
    makeGroupAllocator("LrleDictAllocator");
ltt::refcounted_handle<ltt::allocator> s_RoDictAllocator = makeGroupAllocator("RoDictAllocator");
ltt::refcounted_handle<ltt::allocator> s_TextAllocator = makeGroupAllocator("TextAllocator");

namespace {
// In group order. Constant-initialised: addresses only.
constinit ltt::refcounted_handle<ltt::allocator>* const kHandles[IVA_GroupCount] = {
    &s_SingleAllocator,
    &s_PagedAllocator,
    &s_GeometryAllocator,
    &s_MultiValueAllocator,
    &s_SparseClusterAllocator,
    &s_SparseIndirectAllocator,
    &s_SparseLrleAllocator,
    &s_SparsePrefixAllocator,
    &s_SparseRleAllocator,
    &s_SparseSparseAllocator,
    &s_MainSingleIndexAllocator,
    &s_MainBlockIndexAllocator,
    &s_MainRangedBlockIndexAllocator,
    &s_DeltaAllocator,
    &s_LrleDictAllocator,
    &s_RoDictAllocator,
    &s_TextAllocator,
};
}  // namespace

ltt::allocator& getIndexVectorAllocator(AllocatorGroup group) noexcept {
  unsigned g = group & ~static_cast<unsigned>(IVA_MappedFlag);
  if (g >= IVA_GroupCount) g = IVA_Single;
  if (ltt::allocator* o = g_override[g].load(std::memory_order_acquire)) return *o;
  // A vector built by another unit's static initialiser may come before the handles exist.
  ltt::allocator* a = kHandles[g]->get();
  return a ? *a : ltt::allocator::global_allocator();
}

namespace detail {
ltt::allocator* exchangeIndexVectorAllocatorOverride(AllocatorGroup group,
                                                     ltt::allocator* alloc) noexcept {
  if (group >= IVA_GroupCount) return nullptr;
  return g_override[group].exchange(alloc, std::memory_order_acq_rel);
}
}  // namespace detail

}  // namespace VorexUtils
